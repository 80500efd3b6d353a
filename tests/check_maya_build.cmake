# The build against Maya, configured with a stand-in devkit (the sandbox's
# Maya headers, empty libraries): without Maya's Qt it stops and names the
# archives to unpack; with it, it configures a Release build whose install
# is a module folder. Run as a script: SOURCE, OUT, QT_CMAKE_DIR.
set(devkit ${OUT}/devkit)
file(REMOVE_RECURSE ${OUT})
file(COPY ${SOURCE}/sandbox/include/maya DESTINATION ${devkit}/include)
foreach(lib OpenMaya OpenMayaUI Foundation)
    file(WRITE ${devkit}/lib/lib${lib}.so "")
endforeach()
file(WRITE ${devkit}/include/qt_5.15.2-include.tar.gz "")
file(WRITE ${devkit}/lib/qt_5.15.2-cmake.tar.gz "")

execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${OUT}/no-qt -DMAYA_LOCATION=${devkit}
                RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(result EQUAL 0)
    message(FATAL_ERROR "configured without Maya's Qt: the system's Qt must not stand in for it")
endif()
foreach(text "Maya's Qt" "include/qt_5.15.2-include.tar.gz" "lib/qt_5.15.2-cmake.tar.gz")
    string(FIND "${err}" "${text}" at)
    if(at EQUAL -1)
        message(FATAL_ERROR "the error does not name ${text}:\n${err}")
    endif()
endforeach()

# Maya's Qt, as unpacked into the devkit: here its CMake files lead to the system's.
file(WRITE ${devkit}/lib/cmake/Qt5/Qt5Config.cmake "include(${QT_CMAKE_DIR}/Qt5Config.cmake)\n")
file(WRITE ${devkit}/lib/cmake/Qt5/Qt5ConfigVersion.cmake "include(${QT_CMAKE_DIR}/Qt5ConfigVersion.cmake)\n")
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${OUT}/with-qt -DMAYA_LOCATION=${devkit}
                RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "configuring with Maya's Qt failed:\n${err}")
endif()
file(STRINGS ${OUT}/with-qt/CMakeCache.txt type REGEX "^CMAKE_BUILD_TYPE:")
if(NOT type STREQUAL "CMAKE_BUILD_TYPE:STRING=Release")
    message(FATAL_ERROR "a Maya build is not a Release by default: ${type}")
endif()
file(READ ${OUT}/with-qt/install/QuillmarshPicker.mod mod)
if(NOT mod MATCHES "^\\+ MAYAVERSION:2022 PLATFORM:linux QuillmarshPicker [0-9.]+ \\./QuillmarshPicker\n")
    message(FATAL_ERROR "the installed module file does not point at its folder:\n${mod}")
endif()
file(READ ${OUT}/with-qt/cmake_install.cmake rules)
foreach(place "QuillmarshPicker/plug-ins" "QuillmarshPicker/scripts" "QuillmarshPicker/icons")
    string(FIND "${rules}" "${place}" at)
    if(at EQUAL -1)
        message(FATAL_ERROR "the install puts nothing in ${place}")
    endif()
endforeach()
