// Every resource id of the applet. Both language files include this header, so the English and
// Russian resources cannot drift apart.
#pragma once

#ifndef IDC_STATIC
#define IDC_STATIC (-1)
#endif

// ---------------------------------------------------------------------------------------------
// Language-neutral resources
// ---------------------------------------------------------------------------------------------
#define IDR_MANIFEST                          123   // RT_MANIFEST the shell activates
#define IDI_APPLET                            140
#define IDI_HARDWARE_READERS                  142
#define IDI_HARDWARE_RNG                      143
#define IDI_HARDWARE_CARRIERS                 144
#define IDB_WIZARD_HEADER                     154   // 53 x 53, 16 colours
#define IDB_WIZARD_WATERMARK                  312   // 145 x 290, 16 colours

// ---------------------------------------------------------------------------------------------
// Settings pages, in the order of the configuration sheet's tabs
// ---------------------------------------------------------------------------------------------
#define IDD_PAGE_GENERAL                      160
#define IDD_PAGE_HARDWARE                     164
#define IDD_PAGE_SERVICE                      166
#define IDD_PAGE_ADVANCED                     163
#define IDD_PAGE_ALGORITHMS                   170
#define IDD_PAGE_SECURITY                     162
#define IDD_PAGE_WINLOGON                     172
#define IDD_PAGE_TLS                          171

// ---------------------------------------------------------------------------------------------
// General page (IDD_PAGE_GENERAL)
// ---------------------------------------------------------------------------------------------
#define IDC_GENERAL_PRODUCT_NAME              1004  // link: the installer's "URLUpdateInfo"
#define IDC_GENERAL_NOTICE                    1005  // link: the installer's "URLInfoAbout"
#define IDC_GENERAL_CORE_VERSION              1006
#define IDC_GENERAL_RUN_AS_ADMIN              1007  // link, shown without rights to \config
#define IDC_GENERAL_PKI_CONSOLE               1008  // link
#define IDC_GENERAL_USER_LANGUAGE             1115
#define IDC_GENERAL_MACHINE_LANGUAGE          1116
#define IDC_GENERAL_PRODUCT_VERSION           1125
#define IDC_GENERAL_SHIELD                    1129  // shown together with IDC_GENERAL_RUN_AS_ADMIN
// The page's tool tips: a control's tip is the string of its own id.
#define IDS_TIP_PRODUCT_NAME                  IDC_GENERAL_PRODUCT_NAME
#define IDS_TIP_NOTICE                        IDC_GENERAL_NOTICE
#define IDS_TIP_RUN_AS_ADMIN                  IDC_GENERAL_RUN_AS_ADMIN
#define IDS_TIP_PKI_CONSOLE                   IDC_GENERAL_PKI_CONSOLE
#define IDS_TIP_USER_LANGUAGE                 IDC_GENERAL_USER_LANGUAGE
#define IDS_TIP_MACHINE_LANGUAGE              IDC_GENERAL_MACHINE_LANGUAGE

// ---------------------------------------------------------------------------------------------
// Hardware page (IDD_PAGE_HARDWARE)
// ---------------------------------------------------------------------------------------------
#define IDC_HARDWARE_READERS                  1059
#define IDC_HARDWARE_RNG                      1060
#define IDC_HARDWARE_CARRIERS                 1100

// ---------------------------------------------------------------------------------------------
// Service page (IDD_PAGE_SERVICE)
// ---------------------------------------------------------------------------------------------
#define IDC_SERVICE_DELETE                    1061
#define IDC_SERVICE_VIEW_CERTIFICATES         1062
#define IDC_SERVICE_INSTALL_CERTIFICATE       1063
#define IDC_SERVICE_DELETE_PASSWORDS          1064
#define IDC_SERVICE_CHANGE_PASSWORD           1074
#define IDC_SERVICE_COPY                      1096
#define IDC_SERVICE_CHECK                     1138

// ---------------------------------------------------------------------------------------------
// Advanced page (IDD_PAGE_ADVANCED)
// ---------------------------------------------------------------------------------------------
#define IDC_ADVANCED_VERSIONS                 1023  // list view of the installed modules
#define IDC_ADVANCED_COPY                     57634
#define IDC_ADVANCED_TIMEOUT                  57635

// ---------------------------------------------------------------------------------------------
// User input timeout dialog, opened from the Advanced page
// ---------------------------------------------------------------------------------------------
#define IDD_SET_TIMEOUT                       169
#define IDC_TIMEOUT_USER_GROUP                1087
#define IDC_TIMEOUT_USER_DEFAULT              1093  // first of the user's three choices
#define IDC_TIMEOUT_USER_INFINITE             1094
#define IDC_TIMEOUT_USER_SET                  1095
#define IDC_TIMEOUT_USER_VALUE                1083
#define IDC_TIMEOUT_USER_SPIN                 1085
#define IDC_TIMEOUT_USER_SECONDS              1091
#define IDC_TIMEOUT_SYSTEM_GROUP              1088
#define IDC_TIMEOUT_SYSTEM_INFINITE           1097  // first of the system's two choices
#define IDC_TIMEOUT_SYSTEM_SET                1098
#define IDC_TIMEOUT_SYSTEM_VALUE              1084
#define IDC_TIMEOUT_SYSTEM_SPIN               1086
#define IDC_TIMEOUT_SYSTEM_SECONDS            1092

// ---------------------------------------------------------------------------------------------
// Algorithms page (IDD_PAGE_ALGORITHMS)
// ---------------------------------------------------------------------------------------------
#define IDC_ALGORITHMS_PROV_TYPE              1055
#define IDC_ALGORITHMS_HASH                   1097
#define IDC_ALGORITHMS_ENCRYPTION             1098
#define IDC_ALGORITHMS_SIGNATURE              1099
#define IDC_ALGORITHMS_DH                     1100

// ---------------------------------------------------------------------------------------------
// Security page (IDD_PAGE_SECURITY)
// ---------------------------------------------------------------------------------------------
#define IDC_SECURITY_PROVIDER                 1055
#define IDC_SECURITY_CACHE_SIZE_SPIN          1068
#define IDC_SECURITY_CACHE_SIZE               1070
#define IDC_SECURITY_CACHING                  1071
#define IDC_SECURITY_CACHE_SIZE_LABEL         1072
#define IDC_SECURITY_TYPE71_LABEL             1105  // the type's name is put here at run time
#define IDC_SECURITY_TYPE75_LABEL             1106  // likewise
#define IDC_SECURITY_TYPE71                   1107
#define IDC_SECURITY_TYPE75                   1109
#define IDC_SECURITY_PROVIDER_LABEL           1112
#define IDC_SECURITY_MODE_SERVICE             1121  // first of the mode radio group
#define IDC_SECURITY_MODE_MEMORY              1122
#define IDC_SECURITY_MODE_GROUP               1123
#define IDC_SECURITY_DH_CONTROL               1139
#define IDC_SECURITY_SAVE_MEDIA_INFO          1141

// ---------------------------------------------------------------------------------------------
// Winlogon page (IDD_PAGE_WINLOGON)
// ---------------------------------------------------------------------------------------------
#define IDC_WINLOGON_DC                       1009
#define IDC_WINLOGON_DC_ID                    1010
#define IDC_WINLOGON_PROVIDER                 1055
#define IDC_WINLOGON_READER_LABEL             1106
#define IDC_WINLOGON_PROVIDER_LABEL           1112
#define IDC_WINLOGON_READER                   1113
#define IDC_WINLOGON_KDC                      1115
#define IDC_WINLOGON_PARAMETERS               1125  // inert
#define IDC_WINLOGON_EXPORT                   1127
#define IDC_WINLOGON_DC_LABEL                 1128
#define IDC_WINLOGON_DC_ID_LABEL              1129
#define IDC_WINLOGON_FIX_TEMPLATES            1130
#define IDC_WINLOGON_DISABLE                  1132

// ---------------------------------------------------------------------------------------------
// TLS settings page (IDD_PAGE_TLS)
// ---------------------------------------------------------------------------------------------
#define IDC_TLS_CLIENT_GROUP                  1125
#define IDC_TLS_SERVER_GROUP                  1126
#define IDC_TLS_CLIENT_OCSP                   1145
#define IDC_TLS_CLIENT_NO_REVOCATION          1146
#define IDC_TLS_CLIENT_NO_EKU_CHECK           1147
#define IDC_TLS_CLIENT_NO_LEGACY              1148
#define IDC_TLS_SERVER_OCSP                   1149
#define IDC_TLS_SERVER_NO_EKU_CHECK           1150
#define IDC_TLS_SERVER_NO_LEGACY              1151
#define IDC_TLS_SERVER_NO_REVOCATION          1152
#define IDC_TLS_SERVER_RENEGOTIATION          1153
#define IDC_TLS_SERVER_REQUIRE_RENEGOTIATION  1154
#define IDC_TLS_SERVER_MACHINE_CREDENTIAL     1155
#define IDC_TLS_MAX_SESSIONS                  1156
#define IDC_TLS_MAX_SESSIONS_SPIN             1157
#define IDC_TLS_MAX_CAS                       1158
#define IDC_TLS_MAX_CAS_SPIN                  1159

// ---------------------------------------------------------------------------------------------
// Delete saved passwords dialog, opened from the Service page
// ---------------------------------------------------------------------------------------------
#define IDD_DELETE_PASSWORDS                  167
#define IDC_DELETE_PASSWORDS_USER             1130
#define IDC_DELETE_PASSWORDS_COMPUTER         1131
#define IDC_DELETE_MEDIA_USER                 1132
#define IDC_DELETE_MEDIA_COMPUTER             1133

// ---------------------------------------------------------------------------------------------
// Strings: applet, sheet and messages shared by the pages
// ---------------------------------------------------------------------------------------------
#define IDS_ERROR_SAVING                      103
#define IDS_APPLET_NAME                       104
#define IDS_APPLET_INFO                       105
#define IDS_REBOOT_QUESTION                   108
#define IDS_PROPERTIES_FORMAT                 130   // printf: the product name
#define IDS_ERROR_CODE                        147   // printf: the code in hex, then decimal
#define IDS_CONTAINER_ACCESS_ERROR            1037  // %1 container name, %2 error text
#define IDS_APP_TITLE                         57344 // caption without a ProductName
#define IDS_SUPPORT_LIBRARY_FAILED            162   // %1 file, %2 load error; read from here

// ---------------------------------------------------------------------------------------------
// Strings: General page
// ---------------------------------------------------------------------------------------------
#define IDS_PKI_CONSOLE_FAILED                109
#define IDS_RUN_AS_ADMIN_FAILED               116
#define IDS_LANGUAGE_SYSTEM_DEFAULT           124
#define IDS_LANGUAGE_RUSSIAN                  125
#define IDS_LANGUAGE_ENGLISH                  126
#define IDS_PROVIDER_INTERCEPTED              157

// ---------------------------------------------------------------------------------------------
// Strings: Algorithms page (names of parameter sets the provider gives by string id)
// ---------------------------------------------------------------------------------------------
#define IDS_PARAM_SET_TEST                    1200

// ---------------------------------------------------------------------------------------------
// Strings: Hardware page
// ---------------------------------------------------------------------------------------------
#define IDS_RDR_LIBRARY_MISSING               1034
#define IDS_RNDM_LIBRARY_MISSING              1043

// ---------------------------------------------------------------------------------------------
// Strings: Advanced page (file version columns)
// ---------------------------------------------------------------------------------------------
#define IDS_COLUMN_NAME                       118
#define IDS_COLUMN_VERSION                    119
#define IDS_COLUMN_TYPE                       120
#define IDS_COLUMN_PATH                       121

// ---------------------------------------------------------------------------------------------
// Strings: Security page
// ---------------------------------------------------------------------------------------------
#define IDS_PROVIDER_ABSENT                   114
// The keys storage service and its cache, explained; no page shows these at present.
#define IDS_KEYS_SERVICE_CACHING              1082
#define IDS_KEYS_SERVICE_LIFETIME             1083
#define IDS_KEYS_SERVICE_SPEED                1084
#define IDS_KEYS_SERVICE_CACHE_SIZE           1085
#define IDS_KEYS_SERVICE_SECURITY             1086

// ---------------------------------------------------------------------------------------------
// Strings: Winlogon page
// ---------------------------------------------------------------------------------------------
#define IDS_READER_NOT_SET                    106
#define IDS_DEFAULT_READER_NOT_FOUND          161   // %1 the stored reader name
#define IDS_TEMPLATES_UPDATED                 107
#define IDS_OVERWRITE_FILE                    1108  // %1 the file's path

// ---------------------------------------------------------------------------------------------
// Wizard pages
// ---------------------------------------------------------------------------------------------
#define IDD_SELECT_CONTAINER                  155
#define IDC_SELECT_NAME                       1045
#define IDC_SELECT_BROWSE                     1046
#define IDC_SELECT_BY_CERTIFICATE             1047
#define IDC_SELECT_PROVIDER                   1055
#define IDC_SELECT_USER                       1056
#define IDC_SELECT_COMPUTER                   1057
#define IDC_SELECT_FIND_AUTOMATICALLY         1140

// Wizard strings
#define IDS_CHOOSE_CERTIFICATE_ANY            122
#define IDS_CHOOSE_CERTIFICATE_USER           123
#define IDS_WIZARD_DELETE                     1054
#define IDS_CSP_ACCESS_ERROR                  1058
#define IDS_WIZARD_DELETE_SUBTITLE            1060
#define IDS_CONTAINER_HEADER                  1078
#define IDS_DELETE_CONFIRM                    1081  // %1 container name
#define IDS_WIZARD_CHANGE_PASSWORD            1089
#define IDS_WIZARD_CHANGE_PASSWORD_SUBTITLE   1091

// ---------------------------------------------------------------------------------------------
// Container check wizard: the report page (IDD_CHECK_FINISH) and its strings
// ---------------------------------------------------------------------------------------------
#define IDD_CHECK_FINISH                      174
#define IDC_CHECK_TITLE                       1037
#define IDC_CHECK_REPORT                      1045  // list view: label, value
#define IDC_CHECK_COPY                        57634

#define IDS_WIZARD_CHECK                      131
#define IDS_WIZARD_CHECK_SUBTITLE             132
// Report labels; most carry their indentation in the text.
#define IDS_CHECK_NAME                        133
#define IDS_CHECK_UNIQUE_NAME                 134
#define IDS_CHECK_FQCN                        148
#define IDS_CHECK_INTEGRITY                   183
#define IDS_CHECK_EXCHANGE_KEY                179
#define IDS_CHECK_SIGNATURE_KEY               180
#define IDS_CHECK_PUBLIC_EXPORT               152
#define IDS_CHECK_PUBLIC_IMPORT               153
#define IDS_CHECK_SIGNING                     154
#define IDS_CHECK_VERIFYING                   155
#define IDS_CHECK_AGREEMENT                   156
#define IDS_CHECK_KEY_EXPORT                  139
#define IDS_CHECK_ALGORITHM                   146
#define IDS_CHECK_CERT_IN_CONTAINER           178
#define IDS_CHECK_CERT_IN_STORE               186
#define IDS_CHECK_USAGE_PERIOD                159
#define IDS_CHECK_KEYS_LOADING                149
#define IDS_CHECK_EXTENSIONS                  144
#define IDS_CHECK_CRITICAL                    142
#define IDS_CHECK_NONCRITICAL                 143
#define IDS_CHECK_SUCCEEDED                   135   // verdicts
#define IDS_CHECK_FAILED                      136
#define IDS_CERT_NAME                         1063  // certificate detail labels
#define IDS_CERT_SUBJECT                      1064
#define IDS_CERT_ISSUER                       1065
#define IDS_CERT_VALID_FROM                   1066
#define IDS_CERT_VALID_TO                     1067
#define IDS_CERT_SERIAL                       1068
#define IDS_CERT_KEY_VALID_FROM               1111
#define IDS_CERT_KEY_VALID_TO                 1112
// Report values
#define IDS_CHECK_SUCCEED                     150
#define IDS_CHECK_NO_ERRORS                   145
#define IDS_CHECK_AVAILABLE                   181
#define IDS_CHECK_NOT_AVAILABLE               182
#define IDS_CHECK_CORRUPTED                   184
#define IDS_CHECK_UNKNOWN_CORRUPTION          185
#define IDS_CHECK_ALLOWED                     140
#define IDS_CHECK_DISALLOWED                  141
#define IDS_CHECK_CERT_MATCH                  138
#define IDS_CHECK_CERT_MISMATCH               137
#define IDS_CHECK_EXPIRED                     158
#define IDS_CHECK_NOT_INSTALLED               188
#define IDS_CHECK_NO_KEY_LINK                 187   // a value under the label "  "

// ---------------------------------------------------------------------------------------------
// Copy container wizard: two selection pages (IDD_SELECT_CONTAINER) and its strings
// ---------------------------------------------------------------------------------------------
#define IDS_WIZARD_COPY                       1093
#define IDS_WIZARD_COPY_SUBTITLE              1095
#define IDS_WIZARD_COPY_DEST_SUBTITLE         1097
#define IDS_COPY_ERROR                        1100  // %1 container name, %2 error text
#define IDS_COPY_NOT_EXPORTABLE               1103  // %1 container name, %2 error text

// ---------------------------------------------------------------------------------------------
// Framework messages (data exchange)
// ---------------------------------------------------------------------------------------------
#define IDS_UI_NUMBER_RANGE                   0xF103
#define IDS_UI_TEXT_TOO_LONG                  0xF110
// The sheets' own buttons, in the language of their pages
#define IDS_UI_BUTTON_OK                      0xF120
#define IDS_UI_BUTTON_CANCEL                  0xF121
#define IDS_UI_BUTTON_APPLY                   0xF122
#define IDS_UI_BUTTON_HELP                    0xF123
#define IDS_UI_BUTTON_BACK                    0xF124
#define IDS_UI_BUTTON_NEXT                    0xF125
#define IDS_UI_BUTTON_FINISH                  0xF126

// ---------------------------------------------------------------------------------------------
// Private certificate installation wizard: its pages, the search window and its strings
// ---------------------------------------------------------------------------------------------
#define IDD_INSTALL_WELCOME                   190
#define IDD_INSTALL_FILE                      191
#define IDD_INSTALL_CERTIFICATE               192
#define IDD_INSTALL_STORE                     193
#define IDD_INSTALL_FINISH                    194
#define IDD_INSTALL_SEARCH                    195
#define IDC_INSTALL_TITLE                     1037  // Welcome and Finish
#define IDC_INSTALL_FILE_NAME                 1041
#define IDC_INSTALL_FILE_BROWSE               1042
#define IDC_INSTALL_CERT_NAME                 1054
#define IDC_INSTALL_CERT_SUBJECT              1048
#define IDC_INSTALL_CERT_ISSUER               1049
#define IDC_INSTALL_CERT_FROM                 1050
#define IDC_INSTALL_CERT_TO                   1051
#define IDC_INSTALL_CERT_SERIAL               1052
#define IDC_INSTALL_CERT_NOTE                 1053
#define IDC_INSTALL_CERT_PROPERTIES           1064
#define IDC_INSTALL_CERT_BROWSE               1047
#define IDC_INSTALL_CERT_USE_LABEL            1136
#define IDC_INSTALL_CERT_USE                  1135
#define IDC_INSTALL_CERT_INSTALL              1137
#define IDC_INSTALL_STORE_NAME                1043
#define IDC_INSTALL_STORE_BROWSE              1044
#define IDC_INSTALL_STORE_LABEL               1058
#define IDC_INSTALL_STORE_USER                1056
#define IDC_INSTALL_STORE_COMPUTER            1057
#define IDC_INSTALL_TO_CONTAINER              1134
#define IDC_INSTALL_SUMMARY                   1045
#define IDC_INSTALL_SEARCH_PROGRESS           1190

#define IDS_INSTALL_NO_KEY_IN_CONTAINER       1038  // %1 the container's unique name
#define IDS_INSTALL_PARAMETERS_ERROR          1041  // %1
#define IDS_INSTALL_PROPERTY_ERROR            1042  // %1
#define IDS_WIZARD_INSTALL                    1044
#define IDS_INSTALL_FILE_HEADER               1046
#define IDS_INSTALL_FILE_SUBTITLE             1047
#define IDS_INSTALL_CARRIER_SUBTITLE          1049
#define IDS_INSTALL_KEY_MISMATCH              1050
#define IDS_INSTALL_STORE_HEADER              1051
#define IDS_INSTALL_STORE_SUBTITLE            1052
#define IDS_INSTALL_BAD_FILE                  1053
#define IDS_INSTALL_CERT_HEADER               1056
#define IDS_INSTALL_CERT_SUBTITLE             1057
#define IDS_INSTALL_GET_CERTIFICATE           1061  // summary labels
#define IDS_INSTALL_FROM_FILE                 1062
#define IDS_INSTALL_MAKE_LINK                 1069
#define IDS_INSTALL_TO_KEY                    1070
#define IDS_INSTALL_SIGNATURE                 1071
#define IDS_INSTALL_EXCHANGE                  1072
#define IDS_INSTALL_FROM_CONTAINER            1073
#define IDS_INSTALL_CERTIFICATE               1074
#define IDS_INSTALL_TO_STORE                  1075
#define IDS_INSTALL_IN_CONTAINER              127
#define IDS_INSTALL_REPLACE                   1076
#define IDS_INSTALL_CANCELLED                 1077
#define IDS_INSTALL_NOT_FOUND                 151
#define IDS_INSTALL_SEARCHING                 196   // printf: provider's number, of, containers

// ---------------------------------------------------------------------------------------------
// Certificates in container wizard: its certificate page (the install page's control ids) and
// its strings; %1 the container's unique name
// ---------------------------------------------------------------------------------------------
#define IDD_VIEW_CERTIFICATE                  159
#define IDS_INSTALLED_COMPUTER                128
#define IDS_INSTALLED_USER                    129
#define IDS_VIEW_NO_SIGNATURE_CERT            1035
#define IDS_VIEW_NO_EXCHANGE_CERT             1036
#define IDS_VIEW_SIGNATURE_MISMATCH           1039
#define IDS_VIEW_EXCHANGE_MISMATCH            1040
#define IDS_WIZARD_VIEW                       1055
#define IDS_VIEW_SELECT_SUBTITLE              1079
#define IDS_VIEW_NO_CERTIFICATES              1080
#define IDS_VIEW_CERT_HEADER                  1087
#define IDS_VIEW_CERT_SUBTITLE                1088

// Console tool (kvadmin.exe): help, errors and the labels of its text output
#define IDS_ADMIN_TOOL_USAGE                  2100
#define IDS_ADMIN_TOOL_PURPOSE                2101
#define IDS_ADMIN_COMMANDS                    2102
#define IDS_ADMIN_COMMAND_CHECK               2103
#define IDS_ADMIN_COMMAND_LIST                2104
#define IDS_ADMIN_COMMAND_LINKS               2105
#define IDS_ADMIN_MORE_HELP                   2106
#define IDS_ADMIN_CHECK_USAGE                 2107
#define IDS_ADMIN_LIST_USAGE                  2108
#define IDS_ADMIN_LINKS_USAGE                 2109
#define IDS_ADMIN_OPTION_MACHINE              2110
#define IDS_ADMIN_OPTION_OWNERS               2111
#define IDS_ADMIN_OPTION_PROVIDER             2112
#define IDS_ADMIN_OPTION_EXPIRING             2113
#define IDS_ADMIN_OPTION_JSON                 2114
#define IDS_ADMIN_OPTION_CSV                  2115
#define IDS_ADMIN_OPTION_REPAIR               2116
#define IDS_ADMIN_OPTION_DRY_RUN              2117
#define IDS_ADMIN_CHECK_EXIT                  2118
#define IDS_ADMIN_LIST_EXIT                   2119
#define IDS_ADMIN_LINKS_EXIT                  2120
#define IDS_ADMIN_UNKNOWN_COMMAND             2121
#define IDS_ADMIN_NO_COMMAND                  2122
#define IDS_ADMIN_UNKNOWN_OPTION              2123
#define IDS_ADMIN_MISSING_VALUE               2124
#define IDS_ADMIN_MISSING_CONTAINER           2125
#define IDS_ADMIN_EXTRA_ARGUMENT              2126
#define IDS_ADMIN_NAME_TOO_LONG               2127
#define IDS_ADMIN_UNKNOWN_PROVIDER            2128
#define IDS_ADMIN_BAD_DAYS                    2129
#define IDS_ADMIN_CONFLICT                    2130
#define IDS_ADMIN_NEEDS_OPTION                2131
#define IDS_ADMIN_NO_PROVIDER                 2132
#define IDS_ADMIN_OPEN_FAILED                 2133
#define IDS_ADMIN_STORE_FAILED                2134
#define IDS_ADMIN_OWNER_USER                  2135
#define IDS_ADMIN_OWNER_MACHINE               2136
#define IDS_ADMIN_PROVIDER                    2137
#define IDS_ADMIN_OWNER                       2138
#define IDS_ADMIN_ERROR                       2139
#define IDS_ADMIN_DAYS_LEFT                   2140
#define IDS_ADMIN_LIST_SUMMARY                2141
#define IDS_ADMIN_CERTIFICATE                 2142
#define IDS_ADMIN_LINK                        2143
#define IDS_ADMIN_LINK_OK                     2144
#define IDS_ADMIN_LINK_MISSING                2145
#define IDS_ADMIN_LINK_MISMATCH               2146
#define IDS_ADMIN_LINK_ERROR                  2147
#define IDS_ADMIN_REPAIR                      2148
#define IDS_ADMIN_REPAIRED                    2149
#define IDS_ADMIN_WOULD_REPAIR                2150
#define IDS_ADMIN_NOT_FOUND                   2151
#define IDS_ADMIN_LINKS_SUMMARY               2152
#define IDS_ADMIN_SEARCHING                   2153
#define IDS_ADMIN_VERSION                     2154
#define IDS_ADMIN_READING                     2155
#define IDS_ADMIN_COMMAND_SETTINGS            2156
#define IDS_ADMIN_SETTINGS_USAGE              2157
#define IDS_ADMIN_SETTINGS_USAGE_IMPORT       2158
#define IDS_ADMIN_SETTINGS_USAGE_DIFF         2159
#define IDS_ADMIN_SETTINGS_PURPOSE            2160
#define IDS_ADMIN_OPTION_SCOPE                2161
#define IDS_ADMIN_OPTION_IMPORT_DRY_RUN       2162
#define IDS_ADMIN_OPTION_DIFF_JSON            2163
#define IDS_ADMIN_SETTINGS_EXIT               2164
#define IDS_ADMIN_MISSING_ACTION              2165
#define IDS_ADMIN_UNKNOWN_ACTION              2166
#define IDS_ADMIN_MISSING_FILE                2167
#define IDS_ADMIN_BAD_SCOPE                   2168
#define IDS_ADMIN_PROFILE_UNREADABLE          2169
#define IDS_ADMIN_PROFILE_UNWRITABLE          2170
#define IDS_ADMIN_PROFILE_NOT_JSON            2171
#define IDS_ADMIN_PROFILE_NOT_PROFILE         2172
#define IDS_ADMIN_PROFILE_NO_FORMAT           2173
#define IDS_ADMIN_PROFILE_NEWER               2174
#define IDS_ADMIN_PROFILE_UNKNOWN_PAGE        2175
#define IDS_ADMIN_PROFILE_UNKNOWN_NAME        2176
#define IDS_ADMIN_PROFILE_WRONG_TYPE          2177
#define IDS_ADMIN_PROFILE_OUT_OF_RANGE        2178
#define IDS_ADMIN_EXPECT_SWITCH               2179
#define IDS_ADMIN_EXPECT_NUMBER               2180
#define IDS_ADMIN_EXPECT_TEXT                 2181
#define IDS_ADMIN_EXPECT_TIMEOUT              2182
#define IDS_ADMIN_EXPECT_OBJECT               2183
#define IDS_ADMIN_RANGE                       2184
#define IDS_ADMIN_LENGTH                      2185
#define IDS_ADMIN_SETTINGS_UNREAD             2186
#define IDS_ADMIN_SETTINGS_EXPORTED           2187
#define IDS_ADMIN_SETTING_NOT_WRITTEN         2188
#define IDS_ADMIN_REBOOT                      2189
#define IDS_ADMIN_UNREADABLE                  2190
#define IDS_ADMIN_SETTINGS_CHANGED            2191
#define IDS_ADMIN_SETTINGS_WOULD_CHANGE       2192
#define IDS_ADMIN_SETTINGS_SAME               2193
#define IDS_ADMIN_SETTINGS_DIFFERENT          2194
