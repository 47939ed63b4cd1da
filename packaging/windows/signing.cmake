# SPDX-License-Identifier: Apache-2.0

# Read by cpack before it makes a package: hands the signing command, where there is one, to the
# installer's script. It signs the uninstaller before it is packed and the installer at the end.
if(DEFINED ENV{PELLORY_SIGN_COMMAND})
    foreach(when finalize uninstfinalize)
        string(APPEND CPACK_NSIS_DEFINES "\n!${when} `$ENV{PELLORY_SIGN_COMMAND} \"%1\"` = 0")
    endforeach()
endif()
