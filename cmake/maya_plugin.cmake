# The build against a real Maya: only the QuillmarshPicker plug-in, from the
# same sources as the sandbox build, with Maya's Qt and a module file.
find_package(Maya REQUIRED)
# Maya ships its own Qt 5.15.2; its CMake files sit in the devkit.
find_package(Qt5 5.15 REQUIRED COMPONENTS Core Gui Widgets
    HINTS ${MAYA_LOCATION}/lib/cmake ${MAYA_LOCATION}/devkit/cmake)

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
file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/QuillmarshPicker.mod CONTENT
"+ MAYAVERSION:2022 PLATFORM:${_maya_platform} QuillmarshPicker ${PROJECT_VERSION} .
plug-ins: plug-ins
")
set_target_properties(QuillmarshPicker PROPERTIES
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/plug-ins)
