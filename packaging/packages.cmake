# The Debian packages: what each holds besides its component of the installation, and what its control file says. They
# are made by scripts/packages.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "The Trelvik authors")
set(CPACK_PACKAGE_CONTACT "The Trelvik authors <maintainers@trelvik.example>")
set(CPACK_COMPONENTS_ALL trelvik trelvik-tools iss-sim trelvik-dev)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# They are compressed when they are finished.
set(CPACK_DEBIAN_COMPRESSION_TYPE none)
set(CPACK_DEBIAN_PACKAGE_SOURCE trelvik)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_VERBATIM_VARIABLES ON)
# Files outside the prefix too: /etc/default.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
# Whatever the builder's umask.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
endif()
# The debug symbols are taken out into packages of their own, by the tools for the processor.
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_OBJCOPY_EXECUTABLE ${CMAKE_OBJCOPY})
set(CPACK_READELF_EXECUTABLE ${CMAKE_READELF})

# What Debian 12 has, where the programs are built and run.
set(libraries "libc6 (>= 2.36), libgcc-s1 (>= 12), libstdc++6 (>= 12)")
set(with_bus "${libraries}, libsystemd0 (>= 252)")

# Adds a document, compressed, to a package and to nothing else that is installed.
function(add_compressed source package destination name)
  set(made ${CMAKE_CURRENT_BINARY_DIR}/deb/${package}/${name}.gz)
  add_custom_command(OUTPUT ${made}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_CURRENT_BINARY_DIR}/deb/${package}
    COMMAND gzip -9nc ${source} > ${made}
    DEPENDS ${source} VERBATIM)
  set_property(GLOBAL APPEND PROPERTY trelvik_package_documents ${made})
  install(FILES ${made} DESTINATION ${destination} COMPONENT ${package} EXCLUDE_FROM_ALL)
endfunction()

foreach(package IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${package} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
  set(documents ${CMAKE_INSTALL_DATADIR}/doc/${package})
  install(FILES deb/copyright DESTINATION ${documents} COMPONENT ${package} EXCLUDE_FROM_ALL)
  add_compressed(${CMAKE_CURRENT_SOURCE_DIR}/deb/changelog ${package} ${documents} changelog.Debian)
  add_compressed(${CMAKE_SOURCE_DIR}/CHANGELOG.md ${package} ${documents} changelog)
  install(FILES deb/overrides/${package} DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
    COMPONENT ${package} EXCLUDE_FROM_ALL)
endforeach()

foreach(page IN ITEMS trelvik/Trelvik.8 trelvik-tools/trelvikctl.1 iss-sim/iss-sim.1
    iss-sim/trelvik-scenario.5)
  cmake_path(GET page PARENT_PATH package)
  cmake_path(GET page FILENAME name)
  string(REGEX REPLACE ".*\\." "" section ${name})
  add_compressed(${CMAKE_CURRENT_SOURCE_DIR}/man/${name} ${package} ${CMAKE_INSTALL_MANDIR}/man${section} ${name})
endforeach()

set(CPACK_DEBIAN_TRELVIK_DESCRIPTION "gateway between the OTN bus and the switching stack ISS
The daemon takes requests for ports, forwarding rules, SyncE and Smart SFP
filters from the OTN bus of a network element, which D-Bus carries, sends
them to the switching stack ISS, and answers when ISS has answered.

Root and the members of group otn may call it.")
set(CPACK_DEBIAN_TRELVIK_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TRELVIK_PACKAGE_DEPENDS
  "${with_bus}, adduser, default-dbus-system-bus | dbus-system-bus, screen")
set(CPACK_DEBIAN_TRELVIK_PACKAGE_SUGGESTS trelvik-tools)
set(scripts ${CMAKE_CURRENT_SOURCE_DIR}/deb/trelvik)
set(CPACK_DEBIAN_TRELVIK_PACKAGE_CONTROL_EXTRA
  ${scripts}/conffiles ${scripts}/postinst ${scripts}/prerm ${scripts}/postrm)

set(CPACK_DEBIAN_TRELVIK-TOOLS_DESCRIPTION "client of the Trelvik daemon and Wireshark dissector
trelvikctl calls every request of the daemon by name, shows status and
signals, and finds out what is wrong with a board; it completes its command
line in bash, zsh and fish. The dissector shows every message between the
daemon and the switching stack ISS in Wireshark.")
set(CPACK_DEBIAN_TRELVIK-TOOLS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TRELVIK-TOOLS_PACKAGE_DEPENDS "${with_bus}")
set(CPACK_DEBIAN_TRELVIK-TOOLS_PACKAGE_SUGGESTS "trelvik, wireshark | tshark")

set(CPACK_DEBIAN_ISS-SIM_DESCRIPTION "simulator of the switching stack ISS
iss-sim stands in for the switching stack that the daemon Trelvik talks to:
it answers messages and runs command scripts as a small switch would, fails
on request as a real one may, and records what passes.

An emulator of the board's activity monitor device comes with it.")
set(CPACK_DEBIAN_ISS-SIM_PACKAGE_SECTION net)
set(CPACK_DEBIAN_ISS-SIM_PACKAGE_DEPENDS "${libraries}")

include(dev.cmake)

get_property(package_documents GLOBAL PROPERTY trelvik_package_documents)
add_custom_target(package_documents ALL DEPENDS ${package_documents})
include(CPack)
