# Compiles sources as the Windows build of the plug-in would see them (the
# MinGW compiler, Maya's Windows defines, Qt's headers), for syntax only:
# the Win32 code cannot run here, but it cannot stop compiling unnoticed.
#   -DCXX=x86_64-w64-mingw32-g++ -DSOURCE=<tree> -DINCLUDES=<dir;...>
#   -DFILES=<globs under SOURCE, relative>
set(flags -std=c++17 -fsyntax-only -Wall -Wextra -Werror
    -DNT_PLUGIN -DREQUIRE_IOSTREAM -D_BOOL -DQT_DISABLE_DEPRECATED_BEFORE=0x060000 -DQT_CORE_LIB -DQT_GUI_LIB -DQT_WIDGETS_LIB -DQT_NO_DEBUG
    -I${SOURCE}/src -I${SOURCE}/sandbox/include)
foreach(dir ${INCLUDES})
    list(APPEND flags -isystem ${dir})
endforeach()

set(globs "")
foreach(pattern ${FILES})
    list(APPEND globs ${SOURCE}/${pattern})
endforeach()
file(GLOB files ${globs})
list(SORT files)
if(NOT files)
    message(FATAL_ERROR "no sources match ${FILES}")
endif()

set(failed "")
foreach(file ${files})
    execute_process(COMMAND ${CXX} ${flags} ${file} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE out)
    if(NOT status EQUAL 0)
        message("${out}")
        list(APPEND failed ${file})
    endif()
endforeach()
if(failed)
    string(REPLACE ";" "\n    " failed "${failed}")
    message(FATAL_ERROR "these do not compile for Windows:\n    ${failed}")
endif()
list(LENGTH files count)
message(STATUS "${count} sources compile for Windows")
