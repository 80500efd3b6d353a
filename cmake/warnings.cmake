# Our own targets build with warnings on; third-party headers (Qt, Maya) are
# included as system headers so their warnings do not count against us.
function(quill_warnings target)
    if(MSVC)
        target_compile_options(${target} PRIVATE /W4)
    else()
        target_compile_options(${target} PRIVATE -Wall -Wextra)
    endif()
endfunction()

option(QUILL_WERROR "Treat warnings in our code as errors" OFF)
if(QUILL_WERROR AND NOT MSVC)
    add_compile_options(-Werror)
endif()
