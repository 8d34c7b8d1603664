# The stand-in directory joins the product's installer the way the providers do (see
# testbed/provider/installer.cmake): testbed/CMakeLists.txt includes this file before it writes
# the installer.
configure_file(${CMAKE_CURRENT_LIST_DIR}/registration.wxs.in ${KV_TESTBED_MSI_STAGE}/directory.wxs
               @ONLY)
list(APPEND KV_TESTBED_MSI_FRAGMENTS ${KV_TESTBED_MSI_STAGE}/directory.wxs)
list(APPEND KV_TESTBED_MSI_GROUPS KvDirectory)
list(APPEND KV_TESTBED_MSI_DEPENDS tbdirectory)
