# Where `cmake --install` puts the programs and their files, in the paths the FHS and the
# freedesktop.org specifications expect. The programs find the page and the demo stings in
# share/brellow beside their own bin directory, so any prefix works.
include(GNUInstallDirs)

set(BRELLOW_LINUX_RESOURCES ${PROJECT_SOURCE_DIR}/resources/linux)

install(TARGETS brellow brellow-cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/resources/Web ${PROJECT_SOURCE_DIR}/resources/Demo
        DESTINATION ${CMAKE_INSTALL_DATADIR}/brellow)
install(FILES ${BRELLOW_LINUX_RESOURCES}/org.brellow.Brellow.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${BRELLOW_LINUX_RESOURCES}/org.brellow.Brellow.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages)
install(FILES ${BRELLOW_LINUX_RESOURCES}/org.brellow.Brellow.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
install(FILES ${BRELLOW_LINUX_RESOURCES}/brellow-cli.bash-completion
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME brellow-cli)

# Manual pages, compressed as Debian policy asks (-n: no time stamp, so builds are reproducible).
find_program(GZIP_PROGRAM gzip REQUIRED)
set(BRELLOW_MAN_PAGES)
foreach(page brellow.1 brellow-cli.1)
  set(compressed ${CMAKE_CURRENT_BINARY_DIR}/man/${page}.gz)
  add_custom_command(OUTPUT ${compressed}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_CURRENT_BINARY_DIR}/man
    COMMAND ${GZIP_PROGRAM} -n -9 -c ${BRELLOW_LINUX_RESOURCES}/${page} > ${compressed}
    DEPENDS ${BRELLOW_LINUX_RESOURCES}/${page}
    VERBATIM)
  list(APPEND BRELLOW_MAN_PAGES ${compressed})
endforeach()
add_custom_target(brellow_man_pages ALL DEPENDS ${BRELLOW_MAN_PAGES})
install(FILES ${BRELLOW_MAN_PAGES} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
