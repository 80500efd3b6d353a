# The platform floor check on binaries built here: the sandbox's plug-in,
# linked against this machine's newer glibc and libstdc++, is refused for
# Maya 2022 with each version too new named; a library that asks for nothing
# newer than CentOS 7 has passes. Run as a script: SOURCE, PLUGIN, OBJDUMP,
# CXX, OUT.
set(check ${SOURCE}/cmake/check_platform_floor.cmake)
execute_process(COMMAND ${CMAKE_COMMAND} -DBINARY=${PLUGIN} -DOBJDUMP=${OBJDUMP} -DMAYA_VERSION=2022 -P ${check}
                RESULT_VARIABLE result ERROR_VARIABLE err)
if(result EQUAL 0)
    message(FATAL_ERROR "${PLUGIN}, built on this machine, passed Maya 2022's floor")
endif()
foreach(pattern "GLIBC_2\\.(2[89]|3[0-9]): [A-Za-z_]" "GLIBCXX_3\\.4\\.(2[0-9]|3[0-9]): [A-Za-z_]"
        "devtoolset-9" "CentOS/RHEL 7")
    if(NOT err MATCHES "${pattern}")
        message(FATAL_ERROR "the refusal does not name ${pattern}:\n${err}")
    endif()
endforeach()
if(NOT EXISTS ${PLUGIN})
    message(FATAL_ERROR "the check removed ${PLUGIN} without being asked to")
endif()

file(MAKE_DIRECTORY ${OUT})
file(WRITE ${OUT}/plain.cpp "extern \"C\" int quill_plain(int x) { return x + 1; }\n")
execute_process(COMMAND ${CXX} -shared -fPIC -o ${OUT}/libplain.so ${OUT}/plain.cpp RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "cannot build the plain library")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -DBINARY=${OUT}/libplain.so -DOBJDUMP=${OBJDUMP} -DMAYA_VERSION=2022
                -DREMOVE_ON_FAILURE=ON -P ${check} RESULT_VARIABLE result ERROR_VARIABLE err)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "a library needing nothing newer than CentOS 7 failed Maya 2022's floor:\n${err}")
endif()
