# Finds the Maya devkit under MAYA_LOCATION: headers, the three libraries the
# plug-in links, and the platform's plug-in suffix and definitions.
#   Maya::Maya   imported target
#   MAYA_PLUGIN_SUFFIX
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
            LINUX LINUX_64 REQUIRE_IOSTREAM _BOOL _GLIBCXX_USE_CXX11_ABI=0)
    endif()
endif()
