# The build against Maya, configured with stand-in devkits (the sandbox's
# Maya headers with the release's MAYA_API_VERSION, tiny real libraries) for
# several releases: each takes its release's Qt and names its archives when
# that Qt is missing, and its module file names the release. The 2022 one is
# built: it compiles with the devkit's layout and Linux definitions, links,
# and stops at the platform floor, this machine's libraries being newer than
# CentOS 7's. Run as a script: SOURCE, OUT, QT5_CMAKE_DIR, QT6_CMAKE_DIR,
# CXX, LAUNCHER (may be empty), WERROR.
file(REMOVE_RECURSE ${OUT})
set(common -DCMAKE_CXX_COMPILER=${CXX} -DQUILL_WERROR=${WERROR})
if(LAUNCHER)
    list(APPEND common -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER})
endif()

function(expect_text text what)
    foreach(needed IN LISTS ARGN)
        string(FIND "${text}" "${needed}" at)
        if(at EQUAL -1)
            message(FATAL_ERROR "${what} does not name ${needed}:\n${text}")
        endif()
    endforeach()
endfunction()

function(configure dir result_var err_var)
    execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${dir} ${common} ${ARGN}
                    RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    set(${result_var} ${result} PARENT_SCOPE)
    set(${err_var} "${err}" PARENT_SCOPE)
endfunction()

# Three empty shared libraries stand for Maya's: the linker needs ELF files.
file(WRITE ${OUT}/stub.cpp "")
file(MAKE_DIRECTORY ${OUT}/stubs)
foreach(lib OpenMaya OpenMayaUI Foundation)
    execute_process(COMMAND ${CXX} -shared -fPIC -o ${OUT}/stubs/lib${lib}.so ${OUT}/stub.cpp
                    RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "cannot build a stand-in lib${lib}.so")
    endif()
endforeach()

# A devkit declaring the given MAYA_API_VERSION line.
function(make_devkit devkit define)
    file(COPY ${SOURCE}/sandbox/include/maya DESTINATION ${devkit}/include)
    file(READ ${devkit}/include/maya/MTypes.h types)
    string(REGEX REPLACE "#define MAYA_API_VERSION [0-9]+" "${define}" types "${types}")
    file(WRITE ${devkit}/include/maya/MTypes.h "${types}")
    file(COPY ${OUT}/stubs/ DESTINATION ${devkit}/lib)
endfunction()

# Nothing there: the error says where it looked.
configure(${OUT}/none result err -DMAYA_LOCATION=${OUT}/nowhere)
expect_text("${err}" "a missing devkit's error" "looked for maya/MFnPlugin.h in ${OUT}/nowhere/include")

# A release outside 2022 to 2027, or no readable version: refused, naming the header and value.
make_devkit(${OUT}/devkit-2021 "#define MAYA_API_VERSION 20210000")
configure(${OUT}/build-2021 result err -DMAYA_LOCATION=${OUT}/devkit-2021)
expect_text("${err}" "a Maya 2021 devkit's error" "${OUT}/devkit-2021/include/maya/MTypes.h" "20210000")
make_devkit(${OUT}/devkit-unread "// no version")
configure(${OUT}/build-unread result err -DMAYA_LOCATION=${OUT}/devkit-unread)
expect_text("${err}" "an unreadable devkit's error" "${OUT}/devkit-unread/include/maya/MTypes.h" "MAYA_API_VERSION")

foreach(year 2022 2024 2025 2027)
    set(devkit ${OUT}/devkit-${year})
    make_devkit(${devkit} "#define MAYA_API_VERSION ${year}0100")
    if(year LESS 2025)
        set(qt 5)
        set(archives include/qt_5.15.2-include.tar.gz lib/qt_5.15.2-cmake.tar.gz)
        set(qt_dir ${devkit}/lib/cmake/Qt5)
    else()
        set(qt 6)
        set(archives Qt.tar.gz)
        set(qt_dir ${devkit}/Qt/lib/cmake/Qt6)
    endif()
    foreach(archive IN LISTS archives)
        file(WRITE ${devkit}/${archive} "")
    endforeach()

    # Without Maya's Qt it stops: the system's Qt must not stand in for it.
    # (2022 through Autodesk's DEVKIT_LOCATION, which finds it as MAYA_LOCATION does.)
    if(year EQUAL 2022)
        set(ENV{DEVKIT_LOCATION} ${devkit})
        configure(${OUT}/no-qt-${year} result err)
        unset(ENV{DEVKIT_LOCATION})
    else()
        configure(${OUT}/no-qt-${year} result err -DMAYA_LOCATION=${devkit})
    endif()
    if(result EQUAL 0)
        message(FATAL_ERROR "Maya ${year} configured without Maya's Qt")
    endif()
    expect_text("${err}" "Maya ${year}'s missing-Qt error" "Maya ${year}'s Qt" ${archives})

    # Maya's Qt, as unpacked into the devkit: here its CMake files lead to the system's.
    file(WRITE ${qt_dir}/Qt${qt}Config.cmake "include(${QT${qt}_CMAKE_DIR}/Qt${qt}Config.cmake)\n")
    file(WRITE ${qt_dir}/Qt${qt}ConfigVersion.cmake "include(${QT${qt}_CMAKE_DIR}/Qt${qt}ConfigVersion.cmake)\n")
    set(build ${OUT}/build-${year})
    configure(${build} result err -DMAYA_LOCATION=${devkit})
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "configuring for Maya ${year} with its Qt failed:\n${err}")
    endif()
    file(STRINGS ${build}/CMakeCache.txt found REGEX "^Qt[56]_DIR:")
    if(NOT found STREQUAL "Qt${qt}_DIR:PATH=${qt_dir}")
        message(FATAL_ERROR "Maya ${year} did not take Qt ${qt} from its devkit: ${found}")
    endif()
    file(READ ${build}/QuillmarshPicker.mod mod)
    if(NOT mod MATCHES "^\\+ MAYAVERSION:${year} PLATFORM:linux QuillmarshPicker [0-9.]+ \\.\n"
       OR NOT mod MATCHES "\nscripts: ${SOURCE}/module/scripts\n")
    message(FATAL_ERROR "the build folder's module file is not one for Maya ${year} with the scripts:\n${mod}")
    endif()
    file(READ ${build}/install/${year}-linux.mod mod)
    if(NOT mod MATCHES "^\\+ MAYAVERSION:${year} PLATFORM:linux QuillmarshPicker [0-9.]+ \\./QuillmarshPicker\nplug-ins: ${year}/linux/plug-ins\n")
        message(FATAL_ERROR "the installed module entry is not Maya ${year}'s:\n${mod}")
    endif()
endforeach()

set(build ${OUT}/build-2022)
file(STRINGS ${build}/CMakeCache.txt type REGEX "^CMAKE_BUILD_TYPE:")
if(NOT type STREQUAL "CMAKE_BUILD_TYPE:STRING=Release")
    message(FATAL_ERROR "a Maya build is not a Release by default: ${type}")
endif()
# The Maya build keeps its symbols to itself as the sandbox build does, and
# compiles with the devkit as Autodesk's Linux builds do.
set(target_dir ${build}/CMakeFiles/QuillmarshPicker.dir)
file(READ ${target_dir}/flags.make flags)
file(READ ${target_dir}/link.txt link)
expect_text("${flags}" "the plug-in's compile flags" "-fvisibility=hidden" "-fvisibility-inlines-hidden"
            "-D_GLIBCXX_USE_CXX11_ABI=0" "-DLINUX" "-isystem ${OUT}/devkit-2022/include")
expect_text("${link}" "the plug-in's link" "--version-script=")

# Built: every source compiles and links, then the floor check refuses it.
execute_process(COMMAND ${CMAKE_COMMAND} --build ${build} --target QuillmarshPicker -j2
                RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
set(out "${out}${err}")
if(result EQUAL 0)
    message(FATAL_ERROR "the Maya 2022 plug-in built here passed the CentOS 7 floor:\n${out}")
endif()
if(NOT out MATCHES "needs newer system libraries than Maya 2022's"
   OR NOT out MATCHES "GLIBC_2\\.(2[89]|3[0-9])" OR NOT out MATCHES "GLIBCXX_3\\.4\\.(2[0-9]|3[0-9])"
   OR NOT out MATCHES "CentOS/RHEL 7")
    message(FATAL_ERROR "the Maya 2022 build did not fail at the floor check, naming the versions:\n${out}")
endif()
if(EXISTS ${build}/plug-ins/QuillmarshPicker.so)
    message(FATAL_ERROR "the plug-in that failed the floor check is left for the next build to take")
endif()

# Without the check it installs beside another release's build: the module
# file then holds both.
configure(${build} result err -DQUILL_MAYA_FLOOR_CHECK=OFF)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${build} --target QuillmarshPicker -j2
                RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "the Maya 2022 plug-in does not build without the floor check:\n${out}${err}")
endif()
set(prefix ${OUT}/modules)
file(COPY ${OUT}/build-2025/install/2025-linux.mod DESTINATION ${prefix}/QuillmarshPicker/builds)
execute_process(COMMAND ${CMAKE_COMMAND} --install ${build} --prefix ${prefix}
                RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "installing the Maya 2022 build failed:\n${out}${err}")
endif()
foreach(file QuillmarshPicker/2022/linux/plug-ins/QuillmarshPicker.so QuillmarshPicker/scripts
        QuillmarshPicker/icons/QuillmarshPicker.png)
    if(NOT EXISTS ${prefix}/${file})
        message(FATAL_ERROR "the install puts nothing in ${file}")
    endif()
endforeach()
file(READ ${prefix}/QuillmarshPicker.mod mod)
if(NOT mod MATCHES "^\\+ MAYAVERSION:2022 PLATFORM:linux [^\n]*\nplug-ins: 2022/linux/plug-ins\n"
   OR NOT mod MATCHES "\n\\+ MAYAVERSION:2025 PLATFORM:linux [^\n]*\nplug-ins: 2025/linux/plug-ins\n")
    message(FATAL_ERROR "the installed module file does not hold both builds:\n${mod}")
endif()
