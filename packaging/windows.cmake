# SPDX-License-Identifier: Apache-2.0

# A folder that runs where it stands, as a ZIP and in an installer.
install(TARGETS pellory RUNTIME DESTINATION .)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION . RENAME LICENSE.txt)
install(DIRECTORY windows/licenses DESTINATION .)
include(windows/sources.cmake)
configure_file(windows/licenses.txt.in licenses.txt @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/licenses.txt DESTINATION licenses RENAME README.txt)

# Plugins are found by their place beside the program, not by a dependency.
get_target_property(qt_core Qt5::Core LOCATION)
get_filename_component(qt_bin ${qt_core} DIRECTORY)
find_path(
    PELLORY_QT_PLUGINS platforms/qwindows.dll
    HINTS ${qt_bin}/.. ${Qt5Core_DIR}/../../.. ${Qt5Core_DIR}/../..
    PATH_SUFFIXES plugins share/qt5/plugins
    NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED
)
foreach(plugin platforms/qwindows platforms/qoffscreen styles/qwindowsvistastyle imageformats/qico)
    get_filename_component(folder ${plugin} DIRECTORY)
    install(FILES ${PELLORY_QT_PLUGINS}/${plugin}.dll DESTINATION ${folder})
endforeach()

# The libraries come from where the program was linked from and from the compiler; what is in none
# of these folders belongs to Windows.
set(library_folders ${qt_bin})
if(MINGW)
    foreach(library libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
        execute_process(
            COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${library}
            OUTPUT_VARIABLE path
            OUTPUT_STRIP_TRAILING_WHITESPACE
        )
        get_filename_component(folder ${path} DIRECTORY)
        list(APPEND library_folders ${folder})
    endforeach()
else()
    set(CMAKE_INSTALL_SYSTEM_RUNTIME_DESTINATION .)
    include(InstallRequiredSystemLibraries)
endif()
list(REMOVE_DUPLICATES library_folders)
list(TRANSFORM library_folders REPLACE "(.+)" "\"\\1\"")
string(REPLACE ";" " " library_folders "${library_folders}")
configure_file(windows/libraries.cmake.in libraries.cmake @ONLY)
install(SCRIPT ${CMAKE_CURRENT_BINARY_DIR}/libraries.cmake)
configure_file(windows/finish.cmake.in finish.cmake @ONLY)
install(SCRIPT ${CMAKE_CURRENT_BINARY_DIR}/finish.cmake)

set(CPACK_GENERATOR ZIP NSIS)
set(CPACK_PACKAGE_FILE_NAME pellory-${PROJECT_VERSION}-windows-x64)
set(CPACK_PACKAGE_INSTALL_DIRECTORY Pellory)
# The script is our own: windows/NSIS.template.in.
list(PREPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_SOURCE_DIR}/windows)
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_SOURCE_DIR}/windows/signing.cmake)
set(CPACK_PELLORY_INSTALLED ${CMAKE_CURRENT_BINARY_DIR}/installed.nsh) # finish.cmake writes it
set(CPACK_NSIS_PACKAGE_NAME Pellory)
set(CPACK_NSIS_DISPLAY_NAME Pellory)
set(CPACK_NSIS_URL_INFO_ABOUT "${PROJECT_HOMEPAGE_URL}")
set(CPACK_NSIS_MUI_ICON "${PROJECT_SOURCE_DIR}/resources/pellory.ico")
set(CPACK_NSIS_MUI_UNIICON "${PROJECT_SOURCE_DIR}/resources/pellory.ico")
if(CMAKE_CROSSCOMPILING)
    # Debian's makensis also makes 64-bit installers, as the program is one.
    set(CPACK_NSIS_DEFINES "Target amd64-unicode")
endif()
