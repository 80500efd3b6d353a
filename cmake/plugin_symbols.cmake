# Symbol hygiene of the plug-in module. Maya looks up only the entry points
# (and MApiVersion); anything else the module exports can bind against other
# plug-ins' symbols, and a GNU-unique symbol makes the dynamic loader keep
# the module for ever, so unloadPlugin would leave the old code and statics
# in place and a reload would run with them.

# Code that goes into the module: hidden by default, inline functions too,
# and on GCC no GNU-unique objects (clang makes none).
function(quill_module_code target)
    set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${target} PRIVATE -fno-gnu-unique)
    endif()
endfunction()

# The module itself: built as module code, and on ELF platforms linked with a
# version script that exports the entry points alone, whatever the headers
# of the devkit mark as visible.
function(quill_module_exports target)
    quill_module_code(${target})
    if(UNIX AND NOT APPLE)
        set(script ${CMAKE_SOURCE_DIR}/cmake/plugin_exports.map)
        target_link_options(${target} PRIVATE -Wl,--version-script=${script})
        set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
    endif()
endfunction()
