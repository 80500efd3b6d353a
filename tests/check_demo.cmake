# The committed demo pictures are what make_demo draws now. (The scene itself
# is compared with what its build script makes by test_plugin.)
execute_process(COMMAND ${MAKE_DEMO} ${OUT} RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "make_demo failed")
endif()
foreach(file images/hero.png images/sidekick.png)
    execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${OUT}/${file} ${SOURCE}/${file}
                    RESULT_VARIABLE different)
    if(different)
        message(FATAL_ERROR "examples/demo/${file} is out of date: run make_demo examples/demo")
    endif()
endforeach()
