// Ids of the templates that exercise the framework layer.
#pragma once

#define IDD_TEST_SETTINGS1      9001
#define IDD_TEST_SETTINGS2      9002
#define IDD_TEST_WIZARD1        9003
#define IDD_TEST_WIZARD2        9004
#define IDD_TEST_WIZARD3        9005
#define IDD_TEST_DIALOG         9006

#define IDC_TEST_NAME           9101
#define IDC_TEST_FLAG           9102
#define IDC_TEST_NUMBER         9103
#define IDC_TEST_COMBO          9104
#define IDC_TEST_RADIO1         9105
#define IDC_TEST_RADIO2         9106
#define IDC_TEST_RADIO3         9107
#define IDC_TEST_LABEL          9108

#define IDS_TEST_SHEET          9200
#define IDS_TEST_WIZARD         9201
#define IDS_TEST_WIZARD1_TITLE  9202
#define IDS_TEST_WIZARD1_SUB    9203
#define IDS_TEST_WIZARD2_TITLE  9204
#define IDS_TEST_WIZARD2_SUB    9205
#define IDS_TEST_COMBO_FIRST    9206
#define IDS_TEST_COMBO_SECOND   9207
