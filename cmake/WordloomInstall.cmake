# What `cmake --install` puts where, and the Debian package CPack makes of it.
# Debian keeps a package's documents under its own name.
set(CMAKE_INSTALL_DOCDIR share/doc/wordloom)
include(GNUInstallDirs)

install(TARGETS wordloom RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
# Helpers are started by wordloom, never by a person: they live beside each other in libexec.
install(TARGETS wordloom-supervisor wordloom-jsrunner
        RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/wordloom)
install(DIRECTORY assets/sounds DESTINATION ${CMAKE_INSTALL_DATADIR}/wordloom)
install(FILES packaging/wordloom.desktop packaging/wordloom-open-url.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES packaging/io.wordloom.Wordloom.metainfo.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
install(FILES assets/icons/wordloom.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)

# The PNG sizes of the icon, rendered from the SVG at build time.
find_program(RSVG_CONVERT rsvg-convert)
if(RSVG_CONVERT)
    set(icon_pngs)
    foreach(size 16 24 32 48 64 128 256 512)
        set(png "${CMAKE_BINARY_DIR}/icons/${size}x${size}/wordloom.png")
        add_custom_command(OUTPUT "${png}"
            COMMAND ${CMAKE_COMMAND} -E make_directory "${CMAKE_BINARY_DIR}/icons/${size}x${size}"
            COMMAND ${RSVG_CONVERT} -w ${size} -h ${size} -o "${png}"
                    "${PROJECT_SOURCE_DIR}/assets/icons/wordloom.svg"
            DEPENDS "${PROJECT_SOURCE_DIR}/assets/icons/wordloom.svg" VERBATIM)
        list(APPEND icon_pngs "${png}")
        install(FILES "${png}" DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps)
    endforeach()
    add_custom_target(wordloom_icons ALL DEPENDS ${icon_pngs})
endif()

# The manual page, compressed as Debian wants it.
set(manual "${CMAKE_BINARY_DIR}/wordloom.1.gz")
add_custom_command(OUTPUT "${manual}"
    COMMAND gzip -9n -c "${PROJECT_SOURCE_DIR}/packaging/wordloom.1" > "${manual}"
    DEPENDS "${PROJECT_SOURCE_DIR}/packaging/wordloom.1" VERBATIM)
add_custom_target(wordloom_manual ALL DEPENDS "${manual}")
install(FILES "${manual}" DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

install(FILES packaging/completions/wordloom.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME wordloom)
install(FILES packaging/completions/_wordloom DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
install(FILES packaging/completions/wordloom.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)

set(changelog "${CMAKE_BINARY_DIR}/changelog.gz")
add_custom_command(OUTPUT "${changelog}"
    COMMAND gzip -9n -c "${PROJECT_SOURCE_DIR}/packaging/changelog.Debian" > "${changelog}"
    DEPENDS "${PROJECT_SOURCE_DIR}/packaging/changelog.Debian" VERBATIM)
add_custom_target(wordloom_changelog ALL DEPENDS "${changelog}")
install(FILES "${changelog}" DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES packaging/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME wordloom)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Wordloom maintainers <maintainers@wordloom.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "text expander for the Linux desktop")
set(CPACK_PACKAGE_DESCRIPTION "Wordloom watches what you type in any application and replaces a snippet's
abbreviation with its text: plain or rich text, Markdown, code or images,
with macros for dates, the clipboard, fill-in fields, conditions, sandboxed
JavaScript and text from a local AI model.")
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# libcurl is opened when the first AI macro runs, so dpkg-shlibdeps cannot see it.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libcurl4")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
include(CPack)
