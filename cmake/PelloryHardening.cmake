# SPDX-License-Identifier: Apache-2.0

# What the compiler and the linker can do against faults that are there all the same: checked copies
# and containers, guarded stacks and return addresses, a relocation table that nobody can write to.
# Sanitizers see more, and the checked copies would hide calls from them.
if(NOT PELLORY_HARDEN OR MSVC OR PELLORY_SANITIZE)
    return()
endif()

# Some compilers come with a lower value.
target_compile_options(pellory_settings INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
target_compile_definitions(pellory_settings INTERFACE _GLIBCXX_ASSERTIONS)
set(hardening -fstack-protector-strong)
if(MINGW)
    # Windows' own convention already touches every page of a large frame, and the linker cannot
    # mark a program for the processor's shadow stack.
    target_link_options(
        pellory_settings INTERFACE LINKER:--nxcompat LINKER:--dynamicbase LINKER:--high-entropy-va
    )
    # Checked copies and the guard's value, taken in so that no further library has to be shipped;
    # newer compilers have them in mingw's own library.
    execute_process(
        COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libssp.a
        OUTPUT_VARIABLE guards
        OUTPUT_STRIP_TRAILING_WHITESPACE
    )
    if(IS_ABSOLUTE "${guards}")
        target_link_libraries(pellory_settings INTERFACE "${guards}")
    endif()
else()
    list(APPEND hardening -fstack-clash-protection)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|i.86")
        list(APPEND hardening -fcf-protection)
    endif()
    include(CheckPIESupported)
    check_pie_supported(LANGUAGES CXX)
    set(CMAKE_POSITION_INDEPENDENT_CODE ON)
    target_link_options(pellory_settings INTERFACE LINKER:-z,relro LINKER:-z,now)
endif()
include(CheckCXXCompilerFlag)
foreach(flag ${hardening})
    string(MAKE_C_IDENTIFIER "HAS${flag}" has)
    check_cxx_compiler_flag(${flag} ${has})
    if(NOT ${has})
        message(FATAL_ERROR "The compiler does not know ${flag}; -DPELLORY_HARDEN=OFF builds without.")
    endif()
    target_compile_options(pellory_settings INTERFACE ${flag})
endforeach()
