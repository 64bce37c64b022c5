# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

# Two Debian packages, one for each library, with its headers and what build tools need to find it.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME client)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_CONTACT "Arvenhold")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL client session)

set(CPACK_COMPONENT_CLIENT_DESCRIPTION
    "Provider and consumer roles on the data hub of an industrial controller")
set(CPACK_DEBIAN_CLIENT_PACKAGE_NAME corvel-hub-client)
set(CPACK_DEBIAN_CLIENT_PACKAGE_DEPENDS "libc6, libcurl4, libnats3.4, libstdc++6")

# The version is exact, as in the pkg-config file: the two libraries are tested together.
set(CPACK_COMPONENT_SESSION_DESCRIPTION
    "Providers and consumers on the data hub that keep themselves alive")
set(CPACK_DEBIAN_SESSION_PACKAGE_NAME corvel-hub-session)
set(CPACK_DEBIAN_SESSION_PACKAGE_DEPENDS
    "corvel-hub-client (= ${PROJECT_VERSION}), libc6, libstdc++6")
include(CPack)
