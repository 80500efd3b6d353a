# The compiler and platform Autodesk builds MAYA_VERSION with (maya_versions):
# a different compiler is a warning, since a close one often works; a Linux
# plug-in needing newer system libraries than the release's floor fails the
# build, since Maya on the oldest supported system would refuse to load it.

if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    string(REGEX MATCH "^[0-9]+" _gcc_major "${CMAKE_CXX_COMPILER_VERSION}")
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU" OR NOT _gcc_major IN_LIST MAYA_GCC_MAJORS)
        message(WARNING "Maya ${MAYA_VERSION} is built with ${MAYA_LINUX_COMPILER} on ${MAYA_LINUX_SYSTEM}; "
            "this is ${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION}.")
    endif()
elseif(MSVC)
    if(MSVC_VERSION LESS MAYA_MSVC_FROM OR MSVC_VERSION GREATER MAYA_MSVC_TO)
        message(WARNING "Maya ${MAYA_VERSION} is built with ${MAYA_WINDOWS_COMPILER} "
            "(MSVC_VERSION ${MAYA_MSVC_FROM} to ${MAYA_MSVC_TO}); this is MSVC_VERSION ${MSVC_VERSION}.")
    endif()
elseif(APPLE)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "AppleClang")
        message(WARNING "Maya ${MAYA_VERSION} is built with ${MAYA_MACOS_COMPILER} (AppleClang); "
            "this is ${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION}.")
    endif()
    # Maya's own minimum and architectures unless the studio says otherwise.
    if(NOT CMAKE_OSX_DEPLOYMENT_TARGET)
        set(CMAKE_OSX_DEPLOYMENT_TARGET ${MAYA_MACOS_MIN})
    endif()
    if(NOT CMAKE_OSX_ARCHITECTURES)
        set(CMAKE_OSX_ARCHITECTURES ${MAYA_MACOS_ARCHS})
    endif()
endif()

# A build meant only for the machine it is made on (a developer trying the
# plug-in in a Maya on a newer distribution) may need newer libraries than
# the floor; a build for a studio must not.
option(QUILL_MAYA_FLOOR_CHECK "Fail a Linux build of the plug-in that needs newer system libraries than its Maya's floor" ON)

function(quill_maya_platform_floor target)
    if(NOT CMAKE_SYSTEM_NAME STREQUAL "Linux" OR NOT QUILL_MAYA_FLOOR_CHECK)
        return()
    endif()
    if(NOT CMAKE_OBJDUMP)
        find_program(CMAKE_OBJDUMP objdump)
    endif()
    # A failing plug-in is removed, so that the next build links and checks again.
    add_custom_command(TARGET ${target} POST_BUILD
        COMMAND ${CMAKE_COMMAND} -DBINARY=$<TARGET_FILE:${target}> -DOBJDUMP=${CMAKE_OBJDUMP}
                -DMAYA_VERSION=${MAYA_VERSION} -DREMOVE_ON_FAILURE=ON -P ${CMAKE_SOURCE_DIR}/cmake/check_platform_floor.cmake
        VERBATIM)
endfunction()
