# The providers join the product's installer: testbed/CMakeLists.txt includes this file before
# it writes the installer, so the fragment, its component group and the DLL it installs are in
# the lists it builds the package from. Runs in that directory's scope (KV_MSI_APPPATH,
# and KV_TESTBED_MSI_STAGE come from there).
set(KV_CSP_PROVIDERS "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider")
set(KV_CSP_PROVIDERS32 "SOFTWARE\\Wow6432Node\\Microsoft\\Cryptography\\Defaults\\Provider")
set(KV_CSP_TYPES "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types")
set(KV_CSP_TYPES32 "SOFTWARE\\Wow6432Node\\Microsoft\\Cryptography\\Defaults\\Provider Types")
set(KV_OID "SOFTWARE\\Microsoft\\Cryptography\\OID")
set(KV_OID_INFO "${KV_OID}\\EncodingType 0\\CryptDllFindOIDInfo")

configure_file(${CMAKE_CURRENT_LIST_DIR}/registration.wxs.in ${KV_TESTBED_MSI_STAGE}/provider.wxs
               @ONLY)
list(APPEND KV_TESTBED_MSI_FRAGMENTS ${KV_TESTBED_MSI_STAGE}/provider.wxs)
list(APPEND KV_TESTBED_MSI_GROUPS KvProviders)
list(APPEND KV_TESTBED_MSI_DEPENDS kvcsp)
