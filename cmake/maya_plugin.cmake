# The build against a real Maya: only the QuillmarshPicker plug-in, from the
# same sources as the sandbox build, with Maya's Qt and a module file.
find_package(Maya REQUIRED)
# Maya's own Qt 5.15.2 and never another: the plug-in runs in Maya's process,
# beside Maya's Qt libraries. The devkit ships Qt's headers and CMake files
# as archives to unpack into it first.
find_package(Qt5 5.15 QUIET COMPONENTS Core Gui Widgets
    PATHS ${MAYA_LOCATION} ${MAYA_LOCATION}/lib/cmake ${MAYA_LOCATION}/devkit ${MAYA_LOCATION}/devkit/cmake
    NO_DEFAULT_PATH)
if(NOT Qt5_FOUND)
    file(GLOB_RECURSE _qt_archives RELATIVE ${MAYA_LOCATION}
        ${MAYA_LOCATION}/include/qt*.zip ${MAYA_LOCATION}/include/qt*.tar.gz
        ${MAYA_LOCATION}/lib/qt*.zip ${MAYA_LOCATION}/lib/qt*.tar.gz
        ${MAYA_LOCATION}/mkspecs/qt*.zip ${MAYA_LOCATION}/mkspecs/qt*.tar.gz
        ${MAYA_LOCATION}/devkit/qt*.zip ${MAYA_LOCATION}/devkit/qt*.tar.gz)
    if(NOT _qt_archives)
        if(WIN32)
            set(_qt_archives include/qt_5.15.2_vc14-include.zip lib/qt_5.15.2_vc14-cmake.zip
                mkspecs/qt_5.15.2_vc14-mkspecs.zip)
        else()
            set(_qt_archives include/qt_5.15.2-include.tar.gz lib/qt_5.15.2-cmake.tar.gz
                mkspecs/qt_5.15.2-mkspecs.tar.gz)
        endif()
    endif()
    string(REPLACE ";" "\n    " _qt_archives "${_qt_archives}")
    message(FATAL_ERROR "Maya's Qt 5.15 was not found under ${MAYA_LOCATION} (looked for lib/cmake/Qt5). "
        "The plug-in must be built with Maya's own Qt, not the system's. Unpack, each in the folder it is in:\n"
        "    ${_qt_archives}\n"
        "(include/qt_*-include into include/, lib/qt_*-cmake into lib/cmake/, mkspecs/qt_*-mkspecs into mkspecs/), "
        "then configure again.")
endif()

file(GLOB_RECURSE PICKER_SOURCES CONFIGURE_DEPENDS
    ${CMAKE_SOURCE_DIR}/src/model/*.cpp ${CMAKE_SOURCE_DIR}/src/view/*.cpp
    ${CMAKE_SOURCE_DIR}/src/edit/*.cpp ${CMAKE_SOURCE_DIR}/src/window/*.cpp
    ${CMAKE_SOURCE_DIR}/src/plugin/*.cpp)
file(GLOB PICKER_RESOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/src/resources/*.qrc)

add_library(QuillmarshPicker MODULE ${PICKER_SOURCES} ${PICKER_RESOURCES})
target_include_directories(QuillmarshPicker PRIVATE ${CMAKE_SOURCE_DIR}/src)
target_link_libraries(QuillmarshPicker PRIVATE Maya::Maya Qt5::Widgets)
# Without zlib the scene data is compressed whole on every write (slower for
# pickers over large pictures, the same data).
find_package(ZLIB)
if(ZLIB_FOUND)
    target_link_libraries(QuillmarshPicker PRIVATE ZLIB::ZLIB)
    target_compile_definitions(QuillmarshPicker PRIVATE QUILL_HAVE_ZLIB)
else()
    message(STATUS "zlib not found: scene data is compressed whole on every write")
endif()
set_target_properties(QuillmarshPicker PROPERTIES PREFIX "" SUFFIX ${MAYA_PLUGIN_SUFFIX})
quill_warnings(QuillmarshPicker)
include(plugin_symbols)
quill_module_exports(QuillmarshPicker)
if(WIN32)
    target_link_options(QuillmarshPicker PRIVATE /export:initializePlugin /export:uninitializePlugin)
endif()

if(WIN32)
    set(_maya_platform win64)
elseif(APPLE)
    set(_maya_platform mac)
else()
    set(_maya_platform linux)
endif()
# The build folder is a module too (for trying a build at once, with the
# module's procedures from the source tree); the installed one is a folder
# beside its .mod file, with paths relative to it.
file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/QuillmarshPicker.mod CONTENT
"+ MAYAVERSION:2022 PLATFORM:${_maya_platform} QuillmarshPicker ${PROJECT_VERSION} .
plug-ins: plug-ins
scripts: ${CMAKE_SOURCE_DIR}/module/scripts
")
set_target_properties(QuillmarshPicker PROPERTIES
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/plug-ins)

# cmake --install <build> --prefix <folder on MAYA_MODULE_PATH>
file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/install/QuillmarshPicker.mod CONTENT
"+ MAYAVERSION:2022 PLATFORM:${_maya_platform} QuillmarshPicker ${PROJECT_VERSION} ./QuillmarshPicker
plug-ins: plug-ins
scripts: scripts
icons: icons
")
install(FILES ${CMAKE_BINARY_DIR}/install/QuillmarshPicker.mod DESTINATION .)
install(TARGETS QuillmarshPicker LIBRARY DESTINATION QuillmarshPicker/plug-ins
    RUNTIME DESTINATION QuillmarshPicker/plug-ins)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/module/scripts/ DESTINATION QuillmarshPicker/scripts)
install(FILES ${CMAKE_SOURCE_DIR}/src/resources/resources/QuillmarshLogo.png
    DESTINATION QuillmarshPicker/icons RENAME QuillmarshPicker.png)
