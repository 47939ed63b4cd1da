# SPDX-License-Identifier: Apache-2.0

# Compiler settings shared by every target of the project.
add_library(pellory_settings INTERFACE)
target_compile_definitions(
    pellory_settings
    INTERFACE QT_NO_CAST_TO_ASCII QT_NO_FOREACH QT_DEPRECATED_WARNINGS PELLORY_VERSION="${PROJECT_VERSION}"
)
if(MSVC)
    target_compile_options(pellory_settings INTERFACE /W4 /permissive- /utf-8)
    if(PELLORY_WERROR)
        target_compile_options(pellory_settings INTERFACE /WX)
    endif()
else()
    target_compile_options(
        pellory_settings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                   -Woverloaded-virtual -Wformat=2
    )
    if(PELLORY_WERROR)
        target_compile_options(pellory_settings INTERFACE -Werror)
    endif()
    if(PELLORY_FUZZ)
        target_compile_options(pellory_settings INTERFACE -fsanitize=fuzzer-no-link)
    endif()
    if(PELLORY_SANITIZE)
        target_compile_options(
            pellory_settings INTERFACE -fsanitize=${PELLORY_SANITIZE} -fno-omit-frame-pointer
                                       -fno-sanitize-recover=all
        )
        target_link_options(pellory_settings INTERFACE -fsanitize=${PELLORY_SANITIZE})
    endif()
endif()

# pellory_room(NAME [DOOR ...] SOURCES ... KNOWS ... [INSIDE ...]): one folder, one static library.
# A room's headers are visible only to the rooms that say they know it. With a door these are the ones
# in that folder; pellory_NAME_inside shows the others, as "FOLDER/HEADER". What a room needs INSIDE
# is not passed on to those that know it.
function(pellory_room name)
    cmake_parse_arguments(ROOM "" "DOOR" "SOURCES;KNOWS;INSIDE" ${ARGN})
    add_library(pellory_${name} STATIC ${ROOM_SOURCES})
    set_target_properties(pellory_${name} PROPERTIES AUTOMOC ON AUTOUIC ON AUTORCC ON)
    target_include_directories(pellory_${name} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/${ROOM_DOOR})
    if(ROOM_DOOR)
        add_library(pellory_${name}_inside INTERFACE)
        target_include_directories(pellory_${name}_inside INTERFACE ${CMAKE_CURRENT_SOURCE_DIR}/..)
        target_link_libraries(pellory_${name}_inside INTERFACE pellory_${name})
    endif()
    target_link_libraries(
        pellory_${name} PUBLIC ${ROOM_KNOWS} PRIVATE ${ROOM_INSIDE} pellory_settings
    )
endfunction()
