# Fails when BINARY needs a newer glibc, libstdc++ or C++ ABI library than
# Maya MAYA_VERSION's oldest supported Linux has, naming each version too
# new and some symbols that need it. Run as a script: BINARY, OBJDUMP,
# MAYA_VERSION; GLIBC, GLIBCXX, CXXABI override the floor; REMOVE_ON_FAILURE
# deletes a failing BINARY.
cmake_minimum_required(VERSION 3.16)
list(APPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR})
include(maya_versions)
quill_maya_facts(${MAYA_VERSION})
foreach(lib GLIBC GLIBCXX CXXABI)
    if(NOT DEFINED ${lib})
        set(${lib} ${MAYA_${lib}})
    endif()
endforeach()

execute_process(COMMAND ${OBJDUMP} -T ${BINARY} RESULT_VARIABLE result
                OUTPUT_VARIABLE table ERROR_VARIABLE err)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "cannot read the dynamic symbols of ${BINARY} with ${OBJDUMP}: ${err}")
endif()

# Only what the binary takes from others (undefined), with the version it asks for.
string(REPLACE ";" "," table "${table}")
string(REPLACE "\n" ";" lines "${table}")
set(too_new "")
foreach(line IN LISTS lines)
    if(NOT line MATCHES "\\*UND\\*.*[ (](GLIBC|GLIBCXX|CXXABI)_([0-9.]+)\\)?[ \t]+([^ \t]+)$")
        continue()
    endif()
    set(lib ${CMAKE_MATCH_1})
    set(version ${CMAKE_MATCH_2})
    set(symbol ${CMAKE_MATCH_3})
    if(version VERSION_GREATER ${${lib}})
        set(key ${lib}_${version})
        if(NOT key IN_LIST too_new)
            list(APPEND too_new ${key})
        endif()
        list(LENGTH symbols_${key} count)
        if(count LESS 3)
            list(APPEND symbols_${key} ${symbol})
        endif()
    endif()
endforeach()

if(too_new)
    list(SORT too_new COMPARE NATURAL)
    set(report "")
    foreach(key IN LISTS too_new)
        string(REPLACE ";" ", " names "${symbols_${key}}")
        string(APPEND report "    ${key}: ${names}\n")
    endforeach()
    quill_maya_floor_advice(${MAYA_VERSION} advice)
    if(REMOVE_ON_FAILURE)
        file(REMOVE ${BINARY})
    endif()
    message(FATAL_ERROR "${BINARY} needs newer system libraries than Maya ${MAYA_VERSION}'s oldest "
        "supported Linux (${MAYA_LINUX_SYSTEM}: glibc ${GLIBC}, GLIBCXX_${GLIBCXX}, CXXABI_${CXXABI}) has:\n"
        "${report}It would not load there. To ${advice}.")
endif()
message(STATUS "${BINARY}: needs no more than glibc ${GLIBC}, GLIBCXX_${GLIBCXX} and CXXABI_${CXXABI}")
