# The package for who writes a peer of the daemon. It holds no program, so it is the same for every processor. Of it,
# an installation from the build directory has the interfaces only.
set(CPACK_DEBIAN_TRELVIK-DEV_DESCRIPTION "interfaces of the Trelvik daemon, for who writes a peer
Introspection XML of the daemon's interfaces on the OTN bus, the messages
between the daemon and the switching stack ISS as a C++ header, and example
peers in C++ and Python.")
set(CPACK_DEBIAN_TRELVIK-DEV_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_TRELVIK-DEV_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_TRELVIK-DEV_DEBUGINFO_PACKAGE OFF)
set(CPACK_DEBIAN_TRELVIK-DEV_PACKAGE_SUGGESTS "trelvik, g++, libsystemd-dev, pkg-config, python3-jeepney")

file(GLOB interfaces CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/interfaces/*.xml)
foreach(interface IN LISTS interfaces)
  # D-Bus names such a file after its interface.
  cmake_path(GET interface FILENAME name)
  install(FILES ${interface} DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/interfaces RENAME otn.${name}
    COMPONENT trelvik-dev)
endforeach()
install(FILES ${CMAKE_SOURCE_DIR}/include/OtnIpcMsg.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/trelvik
  COMPONENT trelvik-dev EXCLUDE_FROM_ALL)
configure_file(dev/trelvik.pc.in trelvik.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/trelvik.pc DESTINATION ${CMAKE_INSTALL_DATADIR}/pkgconfig
  COMPONENT trelvik-dev EXCLUDE_FROM_ALL)
install(DIRECTORY dev/examples DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/trelvik-dev
  COMPONENT trelvik-dev EXCLUDE_FROM_ALL)
