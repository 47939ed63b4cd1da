# SPDX-License-Identifier: Apache-2.0

# The Debian package, in the places of the file system hierarchy.
include(GNUInstallDirs)
set(made ${CMAKE_CURRENT_BINARY_DIR})

# Debian's changelog wants the day of the week with the date.
execute_process(
    COMMAND date -R -u -d "${PELLORY_RELEASE_DATE} 12:00"
    OUTPUT_VARIABLE changelog_date
    OUTPUT_STRIP_TRAILING_WHITESPACE
)
configure_file(linux/pellory.1.in pellory.1 @ONLY)
configure_file(linux/changelog.Debian.in changelog.Debian @ONLY)
configure_file(linux/com.corvane.pellory.metainfo.xml com.corvane.pellory.metainfo.xml @ONLY)

# compressed(SOURCE NAME): SOURCE as NAME.gz, without a time in it, so that equal is equal.
find_program(GZIP_PROGRAM gzip REQUIRED)
function(compressed source name)
    add_custom_command(
        OUTPUT ${made}/${name}.gz
        COMMAND ${GZIP_PROGRAM} -9nc ${source} > ${made}/${name}.gz
        DEPENDS ${source}
        VERBATIM
    )
    set_property(GLOBAL APPEND PROPERTY pellory_compressed ${made}/${name}.gz)
endfunction()
compressed(${made}/pellory.1 pellory.1)
compressed(${made}/changelog.Debian changelog.Debian)
compressed(${PROJECT_SOURCE_DIR}/CHANGELOG.md changelog)
get_property(compressed_files GLOBAL PROPERTY pellory_compressed)
add_custom_target(pellory_documents ALL DEPENDS ${compressed_files})

install(TARGETS pellory RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES linux/pellory.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${made}/com.corvane.pellory.metainfo.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo
)
install(
    FILES linux/pellory.mime.xml
    DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages
    RENAME pellory.xml
)
install(
    FILES linux/pellory.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME pellory
)
set(icons ${CMAKE_INSTALL_DATADIR}/icons/hicolor)
foreach(size 16 24 32 48 64 128 256)
    install(
        FILES linux/icons/pellory-${size}.png
        DESTINATION ${icons}/${size}x${size}/apps
        RENAME pellory.png
    )
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/resources/pellory.svg DESTINATION ${icons}/scalable/apps)
install(FILES ${made}/pellory.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
set(documents ${CMAKE_INSTALL_DATADIR}/doc/pellory)
install(
    FILES linux/copyright ${made}/changelog.gz ${made}/changelog.Debian.gz
          ${PROJECT_SOURCE_DIR}/docs/encrypted-form.md
    DESTINATION ${documents}
)
set(examples ${PROJECT_SOURCE_DIR}/docs/examples)
install(FILES ${examples}/read_stream.py ${examples}/read_stream.cpp DESTINATION ${documents}/examples)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE
)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The Pellory developers <pellory@corvane.example>")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Certificates are checked against the system's authorities, which no library brings along. What the
# libraries say themselves is completed: the linker knows only of functions, not that an older libcurl
# would not understand which redirects it must not follow.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "ca-certificates, libcurl4 (>= 7.87)")
set(CPACK_PACKAGE_DESCRIPTION
    "Pellory makes stream files: small files that each hold the address of one
media source, so that a playback or ingest application opens the source where
it lies instead of a copy. Sources are objects in S3 buckets, files in local
and network folders, and flows in TAMS repositories. The address stands in the
file as plain text, or encrypted.
.
Its window browses the sources. On the command line it writes one stream file
for each run, also where there is no display."
)
