# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

# One Debian package with the library, its headers and what build tools need to find it.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_CONTACT "Arvenhold")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "Provider and consumer roles on the data hub of an industrial controller")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libcurl4, libnats3.4, libstdc++6")
include(CPack)
