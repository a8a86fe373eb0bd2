# Where everything goes: `cmake --install`, and the Debian package that CPack makes of the same rules
# (packaging/make-package). The service unit and the polkit policy name programs by their whole path,
# so the place is /usr unless it is said otherwise.

if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
    set_property(CACHE CMAKE_INSTALL_PREFIX PROPERTY VALUE /usr)
endif()
include(GNUInstallDirs)
set(packaging ${CMAKE_SOURCE_DIR}/packaging)
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
                                                GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
# Packaging builds what is installed (the target `installed`), not every test.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)

# The file as it is, with the place of the programs in it.
function(install_with_paths file destination)
    cmake_path(GET file FILENAME name)
    file(READ ${file} text)
    string(REPLACE "/usr/" "${CMAKE_INSTALL_PREFIX}/" text "${text}")
    file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/with-paths/${name} CONTENT "${text}" @ONLY)
    set_property(DIRECTORY ${CMAKE_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    install(FILES ${CMAKE_BINARY_DIR}/with-paths/${name} DESTINATION ${destination})
endfunction()

# Compressed as Debian wants it: without a date and a name, so that two builds agree.
function(install_compressed file destination name)
    set(packed ${CMAKE_BINARY_DIR}/compressed/${name}.gz)
    add_custom_command(
        OUTPUT ${packed}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/compressed
        COMMAND gzip -9nc ${file} > ${packed}
        DEPENDS ${file} VERBATIM)
    set_property(GLOBAL APPEND PROPERTY brindle_compressed ${packed})
    install(FILES ${packed} DESTINATION ${destination})
endfunction()

set(programs tallyd tallyctl makenations)
set(pages tallyd.8 tallyctl.1 makenations.1)
install(TARGETS tallyd RUNTIME DESTINATION sbin)
install(TARGETS tallyctl makenations RUNTIME DESTINATION bin)
install(FILES ${packaging}/systemd/tallyd.socket DESTINATION lib/systemd/system)
install_with_paths(${packaging}/systemd/tallyd.service lib/systemd/system)
install(FILES ${packaging}/systemd/tallyd.sysusers DESTINATION lib/sysusers.d RENAME tallyd.conf)
install(FILES ${packaging}/systemd/tallyd.tmpfiles DESTINATION lib/tmpfiles.d RENAME tallyd.conf)
install(FILES ${packaging}/tallyd.toml DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/tallyd)

if(BRINDLE_VIEWER)
    list(APPEND programs brindle vardex vardex-apply)
    list(APPEND pages brindle.1 vardex.1 vardex-apply.8)
    # The viewer finds the companion from where it stands, and the companion the viewer.
    install(TARGETS brindle RUNTIME DESTINATION lib/vardex/contents/companions/brindle)
    install(TARGETS vardex vardex-apply RUNTIME DESTINATION lib/vardex)
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/link)
    file(CREATE_LINK ../lib/vardex/vardex ${CMAKE_BINARY_DIR}/link/vardex SYMBOLIC)
    install(FILES ${CMAKE_BINARY_DIR}/link/vardex DESTINATION bin)
    # Made by packaging/make-package; without it no nations are shown.
    install(FILES ${CMAKE_BINARY_DIR}/worldCIDR.plist DESTINATION share/vardex OPTIONAL)
    install(FILES ${packaging}/desktop/vardex.desktop DESTINATION share/applications)
    install(FILES ${packaging}/desktop/org.vardex.Vardex.metainfo.xml DESTINATION share/metainfo)
    install_with_paths(${packaging}/org.vardex.apply.policy share/polkit-1/actions)
    install(FILES resources/pictures/vardex.svg resources/pictures/brindle.svg
            DESTINATION share/icons/hicolor/scalable/apps)
endif()

foreach(page ${pages})
    cmake_path(GET page EXTENSION LAST_ONLY section)
    string(REPLACE "." "" section ${section})
    install_compressed(${packaging}/man/${page} share/man/man${section} ${page})
endforeach()
install_compressed(${packaging}/debian/changelog share/doc/brindle changelog)
install(FILES ${packaging}/debian/copyright README.md DESTINATION share/doc/brindle)
get_property(compressed GLOBAL PROPERTY brindle_compressed)
add_custom_target(install-pages ALL DEPENDS ${compressed})
add_custom_target(installed DEPENDS ${programs} install-pages)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME brindle)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The Brindle authors <brindle@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "viewer and daemon for the packet filter's log")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "Brindle shows what a packet filter did: live and for any past period, with
the local user, service, host name and nation behind each record. A daemon,
tallyd, collects the records of nftables, iptables and pf, stores every one of
them once and streams new ones. Vardex keeps a black list of addresses in the
packet filter.")
# /etc lies outside of the prefix.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# What the scripts call; the libraries are added.
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "systemd | systemd-standalone-sysusers, systemd | systemd-standalone-tmpfiles")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS
    "nftables, pkexec, default-dbus-session-bus | dbus-session-bus, fonts-dejavu-core")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    "${packaging}/debian/postinst;${packaging}/debian/prerm;${packaging}/debian/postrm;${packaging}/debian/conffiles")
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})
include(CPack)
