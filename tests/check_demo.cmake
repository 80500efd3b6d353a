# MODE unset: the committed demo pictures are what make_demo draws now. (The
# scene itself is compared with what its build script makes by test_plugin.)
# MODE=twice: the build script run in two processes, with different zooms,
# pans and hash seeds, gives the same scene and pickers byte for byte.
# MODE=pickers: the sample pickers in examples/pickers are what the build
# script saves now, and their JSON and pictures what quillmarsh-pkr makes.
if(MODE STREQUAL "pickers")
    file(REMOVE_RECURSE ${OUT})
    execute_process(COMMAND ${MAKE_DEMO} --pickers ${OUT} RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "make_demo --pickers failed")
    endif()
    foreach(name hero sidekick hero_face)
        execute_process(COMMAND ${PKR_TOOL} to-json ${OUT}/${name}.pkr RESULT_VARIABLE result)
        if(NOT result EQUAL 0)
            message(FATAL_ERROR "quillmarsh-pkr to-json ${name}.pkr failed")
        endif()
        foreach(file ${name}.pkr ${name}.json ${name}.png)
            execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${OUT}/${file} ${SOURCE}/${file}
                            RESULT_VARIABLE different)
            if(different)
                message(FATAL_ERROR "examples/pickers/${file} is out of date: run make_demo --pickers and "
                                    "quillmarsh-pkr to-json --force in examples/pickers")
            endif()
        endforeach()
    endforeach()
    return()
endif()

if(MODE STREQUAL "twice")
    set(seeds 0 7)
    set(views 1.0,0,0 2.5,-130,45)
    foreach(n 0 1)
        list(GET seeds ${n} seed)
        list(GET views ${n} view)
        file(REMOVE_RECURSE ${OUT}/${n})
        execute_process(COMMAND ${CMAKE_COMMAND} -E env QT_HASH_SEED=${seed}
                                ${MAKE_DEMO} --view ${view} --pickers ${OUT}/${n}
                        RESULT_VARIABLE result)
        if(NOT result EQUAL 0)
            message(FATAL_ERROR "make_demo --view ${view} failed")
        endif()
    endforeach()
    foreach(file demo.ma hero.pkr sidekick.pkr hero_face.pkr)
        execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${OUT}/0/${file} ${OUT}/1/${file}
                        RESULT_VARIABLE different)
        if(different)
            message(FATAL_ERROR "${file} differs between two runs of the build script")
        endif()
    endforeach()
    return()
endif()

execute_process(COMMAND ${MAKE_DEMO} ${OUT} RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "make_demo failed")
endif()
foreach(file images/hero.png images/sidekick.png images/hero_face.png)
    execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${OUT}/${file} ${SOURCE}/${file}
                    RESULT_VARIABLE different)
    if(different)
        message(FATAL_ERROR "examples/demo/${file} is out of date: run make_demo examples/demo")
    endif()
endforeach()
