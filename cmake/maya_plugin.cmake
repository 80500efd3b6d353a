# The build against a real Maya: only the QuillmarshPicker plug-in, from the
# same sources as the sandbox build, with Maya's Qt and a module file.
find_package(Maya REQUIRED)
message(STATUS "Building for Maya ${MAYA_VERSION} (API ${MAYA_API_VERSION}): Qt ${MAYA_QT}, Python ${MAYA_PYTHON}")

# Maya's own Qt and never another: the plug-in runs in Maya's process,
# beside Maya's Qt libraries. The devkit ships Qt's headers and CMake files
# as archives to unpack into it first (2025 on: one Qt.tar.gz at its root).
# Only the devkit's own Qt is looked for, so its major version is check
# enough for Qt 6; Qt 5 before 5.15 would be a devkit from before 2022.
if(MAYA_QT_MAJOR EQUAL 5)
    set(_qt_min 5.15)
else()
    set(_qt_min 6)
endif()
set(_qt_prefixes ${MAYA_LOCATION} ${MAYA_LOCATION}/Qt ${MAYA_LOCATION}/devkit ${MAYA_LOCATION}/devkit/Qt)
find_package(Qt${MAYA_QT_MAJOR} ${_qt_min} QUIET COMPONENTS Core Gui Widgets
    PATHS ${_qt_prefixes} NO_DEFAULT_PATH)
if(NOT Qt${MAYA_QT_MAJOR}_FOUND)
    set(_qt_looked "")
    foreach(prefix ${_qt_prefixes})
        list(APPEND _qt_looked ${prefix}/lib/cmake/Qt${MAYA_QT_MAJOR})
    endforeach()
    string(REPLACE ";" ", " _qt_looked "${_qt_looked}")
    file(GLOB_RECURSE _qt_archives RELATIVE ${MAYA_LOCATION}
        ${MAYA_LOCATION}/Qt*.tar.gz ${MAYA_LOCATION}/Qt*.zip
        ${MAYA_LOCATION}/include/qt*.zip ${MAYA_LOCATION}/include/qt*.tar.gz
        ${MAYA_LOCATION}/lib/qt*.zip ${MAYA_LOCATION}/lib/qt*.tar.gz
        ${MAYA_LOCATION}/mkspecs/qt*.zip ${MAYA_LOCATION}/mkspecs/qt*.tar.gz
        ${MAYA_LOCATION}/devkit/qt*.zip ${MAYA_LOCATION}/devkit/qt*.tar.gz)
    if(MAYA_QT_MAJOR EQUAL 5)
        if(NOT _qt_archives)
            if(WIN32)
                set(_qt_archives include/qt_5.15.2_vc14-include.zip lib/qt_5.15.2_vc14-cmake.zip
                    mkspecs/qt_5.15.2_vc14-mkspecs.zip)
            else()
                set(_qt_archives include/qt_5.15.2-include.tar.gz lib/qt_5.15.2-cmake.tar.gz
                    mkspecs/qt_5.15.2-mkspecs.tar.gz)
            endif()
        endif()
        set(_qt_where "(include/qt_*-include into include/, lib/qt_*-cmake into lib/cmake/, mkspecs/qt_*-mkspecs into mkspecs/)")
    else()
        if(NOT _qt_archives)
            set(_qt_archives Qt.tar.gz)
        endif()
        set(_qt_where "(Qt.tar.gz at the devkit's root, into that root: its lib/cmake/Qt6 must end up in one of the folders above)")
    endif()
    string(REPLACE ";" "\n    " _qt_archives "${_qt_archives}")
    message(FATAL_ERROR "Maya ${MAYA_VERSION}'s Qt ${MAYA_QT} was not found under ${MAYA_LOCATION} "
        "(looked in ${_qt_looked}). "
        "The plug-in must be built with Maya's own Qt, not the system's. Unpack, each in the folder it is in:\n"
        "    ${_qt_archives}\n"
        "${_qt_where}, then configure again.")
endif()

include(maya_toolchain)

file(GLOB_RECURSE PICKER_SOURCES CONFIGURE_DEPENDS
    ${CMAKE_SOURCE_DIR}/src/model/*.cpp ${CMAKE_SOURCE_DIR}/src/view/*.cpp
    ${CMAKE_SOURCE_DIR}/src/edit/*.cpp ${CMAKE_SOURCE_DIR}/src/window/*.cpp
    ${CMAKE_SOURCE_DIR}/src/plugin/*.cpp)
file(GLOB PICKER_RESOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/src/resources/*.qrc)

add_library(QuillmarshPicker MODULE ${PICKER_SOURCES} ${PICKER_RESOURCES})
target_include_directories(QuillmarshPicker PRIVATE ${CMAKE_SOURCE_DIR}/src)
target_link_libraries(QuillmarshPicker PRIVATE Maya::Maya Qt::Widgets)
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

quill_maya_platform_floor(QuillmarshPicker)

if(WIN32)
    set(_maya_platform win64)
elseif(APPLE)
    set(_maya_platform mac)
else()
    set(_maya_platform linux)
endif()
# The build folder is a module too (for trying a build at once, with the
# module's procedures from the source tree).
file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/QuillmarshPicker.mod CONTENT
"+ MAYAVERSION:${MAYA_VERSION} PLATFORM:${_maya_platform} QuillmarshPicker ${PROJECT_VERSION} .
plug-ins: plug-ins
scripts: ${CMAKE_SOURCE_DIR}/module/scripts
")
set_target_properties(QuillmarshPicker PROPERTIES
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/plug-ins)

# cmake --install <build> --prefix <folder on MAYA_MODULE_PATH>
# One module folder holds the builds for several releases and platforms,
# each plug-in in <release>/<platform>/plug-ins and the scripts and icons
# shared. Each build installs its own entry as a fragment, and the .mod is
# made again from every fragment there, so installing one build keeps the
# entries of the others.
set(_maya_build ${MAYA_VERSION}/${_maya_platform})
file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/install/${MAYA_VERSION}-${_maya_platform}.mod CONTENT
"+ MAYAVERSION:${MAYA_VERSION} PLATFORM:${_maya_platform} QuillmarshPicker ${PROJECT_VERSION} ./QuillmarshPicker
plug-ins: ${_maya_build}/plug-ins
scripts: scripts
icons: icons
")
install(FILES ${CMAKE_BINARY_DIR}/install/${MAYA_VERSION}-${_maya_platform}.mod DESTINATION QuillmarshPicker/builds)
install(TARGETS QuillmarshPicker LIBRARY DESTINATION QuillmarshPicker/${_maya_build}/plug-ins
    RUNTIME DESTINATION QuillmarshPicker/${_maya_build}/plug-ins)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/module/scripts/ DESTINATION QuillmarshPicker/scripts)
install(FILES ${CMAKE_SOURCE_DIR}/src/resources/resources/QuillmarshLogo.png
    DESTINATION QuillmarshPicker/icons RENAME QuillmarshPicker.png)
install(CODE "set(QUILL_MODULE_ROOT \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")"
        SCRIPT ${CMAKE_SOURCE_DIR}/cmake/assemble_module.cmake)
