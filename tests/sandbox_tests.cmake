# The stand-in host and the plug-in fixture that proves it loads modules the
# way the real plug-in needs.
add_library(quillEcho MODULE plugin_fixture/echo_plugin.cpp)
set_target_properties(quillEcho PROPERTIES PREFIX "" OUTPUT_NAME quillEcho)
target_link_libraries(quillEcho PRIVATE maya_sandbox)
quill_warnings(quillEcho)

quill_test(test_sandbox SOURCES test_sandbox.cpp LIBS maya_sandbox_host)
target_compile_definitions(test_sandbox PRIVATE ECHO_PLUGIN_PATH="$<TARGET_FILE:quillEcho>"
    PICKER_PLUGIN_PATH="$<TARGET_FILE:QuillmarshPicker>")
add_dependencies(test_sandbox quillEcho QuillmarshPicker)

quill_test(test_app SOURCES test_app.cpp LIBS maya_sandbox_host)
target_compile_definitions(test_app PRIVATE SANDBOX_APP="$<TARGET_FILE:quillmarsh-sandbox>" ECHO_PLUGIN_PATH="$<TARGET_FILE:quillEcho>"
    PICKER_PLUGIN_PATH="$<TARGET_FILE:QuillmarshPicker>" DEMO_SCENE="${CMAKE_SOURCE_DIR}/examples/demo/demo.ma"
    MODULE_SCRIPTS="${CMAKE_SOURCE_DIR}/module/scripts")
add_dependencies(test_app quillmarsh-sandbox quillEcho QuillmarshPicker)

if(CMAKE_READELF)
    add_test(NAME plugin_exports_only_its_entry_points
             COMMAND ${CMAKE_COMMAND} -DREADELF=${CMAKE_READELF} -DMODULE=$<TARGET_FILE:QuillmarshPicker>
             -P ${CMAKE_CURRENT_SOURCE_DIR}/check_plugin_symbols.cmake)
endif()

# The plug-in's code linked in, loaded through its entry points.
quill_test(test_plugin SOURCES test_plugin.cpp ${CMAKE_SOURCE_DIR}/src/plugin/plugin_entry.cpp
           LIBS picker_plugin maya_sandbox_host)
target_compile_definitions(test_plugin PRIVATE SOURCE_DIR="${CMAKE_SOURCE_DIR}")

# The window alone, with a host that records what it sends.
quill_test(test_window SOURCES test_window.cpp LIBS picker_ui)

# The demo scene in examples/ is reproducible from the code.
add_test(NAME demo_is_current COMMAND ${CMAKE_COMMAND} -DMAKE_DEMO=$<TARGET_FILE:make_demo>
         -DSOURCE=${CMAKE_SOURCE_DIR}/examples/demo -DOUT=${CMAKE_CURRENT_BINARY_DIR}/demo
         -P ${CMAKE_CURRENT_SOURCE_DIR}/check_demo.cmake)
set_tests_properties(demo_is_current PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen")

quill_test(test_gestures SOURCES test_gestures.cpp LIBS picker_ui)
quill_test(test_edit SOURCES test_edit.cpp LIBS picker_ui)
quill_test(test_mirror SOURCES test_mirror.cpp LIBS picker_ui)

quill_test(test_directives SOURCES test_directives.cpp ${CMAKE_SOURCE_DIR}/src/plugin/plugin_entry.cpp
           LIBS picker_plugin maya_sandbox_host)

quill_test(test_characters SOURCES test_characters.cpp ${CMAKE_SOURCE_DIR}/src/plugin/plugin_entry.cpp
           LIBS picker_plugin maya_sandbox_host)

quill_test(test_menus SOURCES test_menus.cpp LIBS picker_ui)

# What edits act on, with the selection's round trip through the real host.
quill_test(test_targets SOURCES test_targets.cpp ${CMAKE_SOURCE_DIR}/src/plugin/plugin_entry.cpp
           LIBS picker_plugin maya_sandbox_host)

# What the scene holds against what the window shows, through the real host.
quill_test(test_scene SOURCES test_scene.cpp ${CMAKE_SOURCE_DIR}/src/plugin/plugin_entry.cpp
           LIBS picker_plugin maya_sandbox_host)

# Python in the host: maya.cmds and Python command buttons of the real plug-in.
quill_test(test_python SOURCES test_python.cpp ${CMAKE_SOURCE_DIR}/src/plugin/plugin_entry.cpp
           LIBS picker_plugin maya_sandbox_host)
target_compile_definitions(test_python PRIVATE ECHO_PLUGIN_PATH="$<TARGET_FILE:quillEcho>")
add_dependencies(test_python quillEcho)
# Scenes of large pictures: each in its entry, all within one pixel budget.
quill_test(test_scene_pictures SOURCES test_scene_pictures.cpp ${CMAKE_SOURCE_DIR}/src/plugin/plugin_entry.cpp
           LIBS picker_plugin maya_sandbox_host)
# What the canvas looks like: labels, lit and missing buttons, the banner,
# framing, and the toolbox in a narrow panel.
quill_test(test_looks SOURCES test_looks.cpp ${CMAKE_SOURCE_DIR}/src/plugin/plugin_entry.cpp
           LIBS picker_plugin maya_sandbox_host)
# The Python module of the studio install, over the real plug-in.
quill_test(test_python_api SOURCES test_python_api.cpp ${CMAKE_SOURCE_DIR}/src/plugin/plugin_entry.cpp
           LIBS picker_plugin maya_sandbox_host)
target_compile_definitions(test_python_api PRIVATE MODULE_SCRIPTS="${CMAKE_SOURCE_DIR}/module/scripts")
