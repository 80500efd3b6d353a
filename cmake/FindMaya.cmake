# Finds the Maya devkit under MAYA_LOCATION: headers, the three libraries the
# plug-in links, and the platform's plug-in suffix and definitions.
#   Maya::Maya   imported target
#   MAYA_PLUGIN_SUFFIX
#   MAYA_API_VERSION, MAYA_VERSION (the release year, 2022 to 2027)
set(_maya_lib_dir ${MAYA_LOCATION}/lib)
if(APPLE)
    set(_maya_lib_dir ${MAYA_LOCATION}/Maya.app/Contents/MacOS)
endif()

find_path(MAYA_INCLUDE_DIR maya/MFnPlugin.h
    HINTS ${MAYA_LOCATION}/include ${MAYA_LOCATION}/devkit/include
    NO_DEFAULT_PATH)

set(MAYA_LIBRARIES "")
foreach(lib OpenMaya OpenMayaUI Foundation)
    find_library(MAYA_${lib}_LIBRARY ${lib} HINTS ${_maya_lib_dir} NO_DEFAULT_PATH)
    list(APPEND MAYA_LIBRARIES ${MAYA_${lib}_LIBRARY})
endforeach()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Maya
    REQUIRED_VARS MAYA_INCLUDE_DIR MAYA_OpenMaya_LIBRARY MAYA_OpenMayaUI_LIBRARY MAYA_Foundation_LIBRARY
    REASON_FAILURE_MESSAGE "looked for maya/MFnPlugin.h in ${MAYA_LOCATION}/include and \
${MAYA_LOCATION}/devkit/include, and for the OpenMaya, OpenMayaUI and Foundation libraries in ${_maya_lib_dir}. \
Point MAYA_LOCATION (or DEVKIT_LOCATION) at a Maya install or Autodesk's devkit")

# The release the devkit is for, from its own header: the Qt, compiler and
# floor follow from it, and a plug-in built against one release loads in no
# other.
if(Maya_FOUND)
    set(_maya_types ${MAYA_INCLUDE_DIR}/maya/MTypes.h)
    set(MAYA_API_VERSION "")
    if(EXISTS ${_maya_types})
        file(STRINGS ${_maya_types} _maya_define REGEX "^[ \t]*#[ \t]*define[ \t]+MAYA_API_VERSION[ \t]")
        string(REGEX MATCH "MAYA_API_VERSION[ \t]+([^ \t/]*)" _ "${_maya_define}")
        set(MAYA_API_VERSION "${CMAKE_MATCH_1}")
    endif()
    if(NOT MAYA_API_VERSION MATCHES "^(20[0-9][0-9])[0-9][0-9][0-9][0-9]$")
        message(FATAL_ERROR "${_maya_types}: MAYA_API_VERSION is \"${MAYA_API_VERSION}\", not a Maya \
release's (such as 20220300); the devkit cannot be read")
    endif()
    set(MAYA_VERSION ${CMAKE_MATCH_1})
    if(MAYA_VERSION LESS 2022 OR MAYA_VERSION GREATER 2027)
        message(FATAL_ERROR "${_maya_types}: MAYA_API_VERSION ${MAYA_API_VERSION} is Maya ${MAYA_VERSION}; \
the plug-in builds for Maya 2022 to 2027 only")
    endif()
    include(maya_versions)
    quill_maya_facts(${MAYA_VERSION})
endif()

if(Maya_FOUND AND NOT TARGET Maya::Maya)
    add_library(Maya::Maya INTERFACE IMPORTED)
    set_target_properties(Maya::Maya PROPERTIES
        INTERFACE_INCLUDE_DIRECTORIES ${MAYA_INCLUDE_DIR}
        INTERFACE_LINK_LIBRARIES "${MAYA_LIBRARIES}")
    if(WIN32)
        set(MAYA_PLUGIN_SUFFIX ".mll")
        set_property(TARGET Maya::Maya APPEND PROPERTY INTERFACE_COMPILE_DEFINITIONS
            NT_PLUGIN REQUIRE_IOSTREAM _BOOL)
    elseif(APPLE)
        set(MAYA_PLUGIN_SUFFIX ".bundle")
        set_property(TARGET Maya::Maya APPEND PROPERTY INTERFACE_COMPILE_DEFINITIONS
            MAC_PLUGIN OSMac_ OSMac_MachO REQUIRE_IOSTREAM _BOOL)
    else()
        set(MAYA_PLUGIN_SUFFIX ".so")
        set_property(TARGET Maya::Maya APPEND PROPERTY INTERFACE_COMPILE_DEFINITIONS
            LINUX LINUX_64 REQUIRE_IOSTREAM _BOOL _GLIBCXX_USE_CXX11_ABI=${MAYA_CXX11_ABI})
    endif()
endif()
