# What `cmake --install` puts where, and the Debian package made of it (tools/package.sh).
include(GNUInstallDirs)

install(TARGETS _zcrawler flatsite check_horizon check_profile RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(PROGRAMS packaging/start-crawl DESTINATION lib/wkcrawler)
install(FILES packaging/wkcrawler@.service DESTINATION lib/systemd/system)
install(FILES packaging/logrotate DESTINATION /etc/logrotate.d RENAME wkcrawler)
install(FILES packaging/man/_zcrawler.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES packaging/man/crawler.xml.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5)
install(FILES packaging/wkcrawler.dtd DESTINATION share/wkcrawler)
install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs FILES_MATCHING PATTERN "*.md")
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples
        USE_SOURCE_PERMISSIONS PATTERN CMakeLists.txt EXCLUDE)
# Profiles of the service, a file each; the package owns the directory and nothing in it.
install(DIRECTORY DESTINATION /etc/wkcrawler)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME wkcrawler)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The crawler's maintainers <root@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "multi-threaded web crawler for collections")
set(CPACK_PACKAGE_DESCRIPTION
    "Crawls sites and news feeds politely for indexing, steered by an XML profile, with a disk-backed
 horizon, checkpoints, a document store, and administration pages on loopback.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION web)
set(CPACK_DEBIAN_PACKAGE_DEPENDS adduser)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "logrotate, systemd")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${CMAKE_SOURCE_DIR}/packaging/debian/postinst;${CMAKE_SOURCE_DIR}/packaging/debian/prerm
    ${CMAKE_SOURCE_DIR}/packaging/debian/postrm;${CMAKE_SOURCE_DIR}/packaging/debian/conffiles)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_SET_DESTDIR ON)
include(CPack)
