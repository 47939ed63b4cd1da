# SPDX-License-Identifier: Apache-2.0

# Cross-compiles for Windows x64 with Debian's mingw-w64 (posix threads). The Windows libraries stand
# in the folder that the environment variable PELLORY_WINDOWS_SYSROOT names, the programs moc, uic
# and rcc beside them as programs of this machine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

# Also read from the cache, which the trial compilations of CMake get their value from.
set(PELLORY_WINDOWS_SYSROOT "$ENV{PELLORY_WINDOWS_SYSROOT}" CACHE PATH "Folder of Windows libraries")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PELLORY_WINDOWS_SYSROOT)
if(NOT IS_DIRECTORY "${PELLORY_WINDOWS_SYSROOT}/lib/cmake/Qt5Core")
    message(
        FATAL_ERROR "PELLORY_WINDOWS_SYSROOT must name a folder of Windows libraries, as "
                    "scripts/windows-sysroot.sh makes it; it is '${PELLORY_WINDOWS_SYSROOT}'."
    )
endif()

set(PELLORY_MINGW x86_64-w64-mingw32)
# std::thread and std::mutex need the posix variant; the plain name may be the other one.
set(CMAKE_C_COMPILER ${PELLORY_MINGW}-gcc-posix)
set(CMAKE_CXX_COMPILER ${PELLORY_MINGW}-g++-posix)
set(CMAKE_RC_COMPILER ${PELLORY_MINGW}-windres)

set(CMAKE_FIND_ROOT_PATH "${PELLORY_WINDOWS_SYSROOT}" /usr/${PELLORY_MINGW})
set(CMAKE_PREFIX_PATH "${PELLORY_WINDOWS_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The folder may have been moved since it was made, so its own idea of its place does not count.
set(PKG_CONFIG_ARGN --define-prefix)
set(ENV{PKG_CONFIG_LIBDIR} "${PELLORY_WINDOWS_SYSROOT}/lib/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")

# Lets CTest and the automatic tools start Windows programs where Wine is there.
find_program(PELLORY_WINE wine)
if(PELLORY_WINE)
    set(CMAKE_CROSSCOMPILING_EMULATOR "${PELLORY_WINE}")
endif()
