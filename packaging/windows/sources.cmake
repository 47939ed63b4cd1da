# SPDX-License-Identifier: Apache-2.0

# Version and source of each library that is shipped, for licenses.txt.in.

# debian_source(NAME VERSION RESULT): a sentence on the Debian source package that a library was built
# from. The folder of libraries tells the version to the letter when scripts/windows-sysroot.sh made
# it, VERSION is what is known otherwise.
function(debian_source name version result)
    set(text "")
    if(CMAKE_CROSSCOMPILING)
        if(EXISTS "${PELLORY_WINDOWS_SYSROOT}/sources.txt")
            file(STRINGS "${PELLORY_WINDOWS_SYSROOT}/sources.txt" line REGEX "^${name} ")
            string(REGEX REPLACE "^[^ ]+ " "" exact "${line}")
        endif()
        if(exact)
            set(version "${exact}")
        endif()
        set(text "\n    Built from Debian's source package ${name} ${version}, with Debian's patches.")
    endif()
    set(${result} "${text}" PARENT_SCOPE)
endfunction()

# package_version(PACKAGE RESULT): of the Debian source of an installed package.
function(package_version package result)
    execute_process(
        COMMAND dpkg-query -W -f "\${source:Version}" ${package}
        OUTPUT_VARIABLE version
        ERROR_QUIET
    )
    set(${result} "${version}" PARENT_SCOPE)
endfunction()

set(qt_version ${Qt5Core_VERSION})
string(REGEX MATCH "^[0-9]+\\.[0-9]+" qt_series ${qt_version})
set(curl_version ${CURL_VERSION_STRING})
if(NOT curl_version)
    set(curl_version ${CURL_VERSION}) # of its own CMake package
endif()
set(sodium_version ${SODIUM_VERSION}${unofficial-sodium_VERSION})
set(compiler_version ${CMAKE_CXX_COMPILER_VERSION})
foreach(library qt curl sodium compiler)
    if(NOT ${library}_version)
        message(WARNING "The version of ${library} is not known; a package must not go out like this.")
        set(${library}_version "of unknown version")
    endif()
endforeach()

package_version(g++-mingw-w64-x86-64-posix gcc_package)
package_version(mingw-w64-x86-64-dev mingw_package)
debian_source(qtbase-opensource-src ${qt_version} qt_source)
debian_source(curl ${curl_version} curl_source)
debian_source(libsodium ${sodium_version} sodium_source)
debian_source(gcc-mingw-w64 "${gcc_package}" compiler_source)
debian_source(mingw-w64 "${mingw_package}" threads_source)
