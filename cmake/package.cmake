# Installs the files besides programs, and makes the Debian package. A device gets no documents and examples: examples hold
# private keys, and a device is configured by other means.
install(FILES cmake/tmpfiles.conf DESTINATION lib/tmpfiles.d RENAME tessera.conf)
install(FILES doc/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})
if(TESSERA_PLATFORM STREQUAL "device")
  return()
endif()
install(FILES README.md CHANGELOG.md CONTRIBUTING.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY doc/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/doc FILES_MATCHING PATTERN "*.md" PATTERN notes EXCLUDE)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY tools/apply/examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples/apply USE_SOURCE_PERMISSIONS)
file(GLOB units CONFIGURE_DEPENDS tools/apply/examples/systemd/*.service)
install(FILES ${units} DESTINATION lib/systemd/system)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tessera)
set(CPACK_PACKAGE_CONTACT "tessera developers <developers@tessera.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "configuration generator for embedded Linux routers")
set(CPACK_PACKAGE_DESCRIPTION
"Writes the native configuration files of a router's daemons from one typed
configuration tree: for dnsmasq, the strongSwan starter, netifd (UCI) and
Linux-PAM. It starts and signals no daemon.")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Loaded at run time to encode secrets, so dpkg-shlibdeps does not find it.
set(CPACK_DEBIAN_PACKAGE_DEPENDS libssl3)
# Programs that a run starts for tunnels with keys and certificates, and the daemons that read the files.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "openssl, strongswan-pki")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "strongswan-starter, dnsmasq-base, openvpn")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/postinst)
set(CPACK_DEBIAN_SOURCE ${CMAKE_SOURCE_DIR})
set(CPACK_DEBIAN_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/debian.sh)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
include(CPack)
