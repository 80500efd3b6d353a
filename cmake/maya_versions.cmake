# What each Maya release is built with, by Autodesk: the plug-in must use the
# same Qt, a compatible compiler, and on Linux no newer system libraries than
# the oldest system that release runs on (its floor). One row a release:
#   year | Qt | Python | Linux compiler | GCC majors accepted | Linux system
#        | glibc | GLIBCXX | CXXABI | _GLIBCXX_USE_CXX11_ABI
#        | Windows compiler | MSVC_VERSION from | to | macOS compiler
#        | macOS minimum | macOS architectures
# The Linux floor is the build system's own libstdc++ (devtoolset and
# gcc-toolset link what is newer than it statically): GCC 4.8.5 on
# CentOS/RHEL 7, GCC 8.5 on RHEL 8.
# 2027's Linux toolchain, Qt and Python are not confirmed: its row assumes
# the strictest plausible floor, RHEL 8's (as 2025 and 2026), accepts
# gcc-toolset-11 to 14, and takes whichever Qt 6 its devkit has.
set(QUILL_MAYA_VERSIONS
"2022|5.15.2|3.7|GCC 9.3.1 (devtoolset-9)|9|CentOS/RHEL 7|2.17|3.4.19|1.3.7|0|Visual Studio 2019|1920|1929|Xcode 10.2.1|10.14|x86_64"
"2023|5.15.2|3.9|GCC 9.3.1 (devtoolset-9)|9|CentOS/RHEL 7|2.17|3.4.19|1.3.7|0|Visual Studio 2019|1920|1929|Xcode 10.2.1|10.15|x86_64"
"2024|5.15.2|3.10|GCC 11.2.1 (gcc-toolset-11)|11|Rocky/RHEL 8|2.28|3.4.25|1.3.11|1|Visual Studio 2022|1930|1949|Xcode 13|11.0|x86_64,arm64"
"2025|6.5.3|3.11|GCC 11.2.1 (gcc-toolset-11)|11|Rocky/RHEL 8|2.28|3.4.25|1.3.11|1|Visual Studio 2022|1930|1949|Xcode 14|11.0|x86_64,arm64"
"2026|6.5.3|3.11|GCC 11.2.1 (gcc-toolset-11)|11|Rocky/RHEL 8|2.28|3.4.25|1.3.11|1|Visual Studio 2022|1930|1949|Xcode 14|11.0|x86_64,arm64"
"2027|6|unconfirmed|gcc-toolset-11 to 14|11,12,13,14|Rocky/RHEL 8|2.28|3.4.25|1.3.11|1|Visual Studio 2022|1930|1949|Xcode 14|11.0|x86_64,arm64")

# Sets MAYA_<field> for the given year; fails for a year not in the table.
function(quill_maya_facts year)
    set(fields QT PYTHON LINUX_COMPILER GCC_MAJORS LINUX_SYSTEM GLIBC GLIBCXX CXXABI CXX11_ABI
        WINDOWS_COMPILER MSVC_FROM MSVC_TO MACOS_COMPILER MACOS_MIN MACOS_ARCHS)
    foreach(row IN LISTS QUILL_MAYA_VERSIONS)
        string(REPLACE "|" ";" cells "${row}")
        list(POP_FRONT cells row_year)
        if(row_year STREQUAL year)
            set(i 0)
            foreach(field IN LISTS fields)
                list(GET cells ${i} value)
                string(REPLACE "," ";" value "${value}")
                set(MAYA_${field} "${value}" PARENT_SCOPE)
                math(EXPR i "${i} + 1")
            endforeach()
            string(REGEX MATCH "^[0-9]+" major "${cells}")
            set(MAYA_QT_MAJOR ${major} PARENT_SCOPE)
            return()
        endif()
    endforeach()
    message(FATAL_ERROR "no build facts for Maya ${year}")
endfunction()

# The Linux floor for a year, and how to build on a system that meets it.
function(quill_maya_floor_advice year out)
    quill_maya_facts(${year})
    set(${out} "build for Maya ${year} on ${MAYA_LINUX_SYSTEM} with ${MAYA_LINUX_COMPILER}, \
or in a container of that system, so the plug-in needs \
no more than glibc ${MAYA_GLIBC}, GLIBCXX_${MAYA_GLIBCXX} and CXXABI_${MAYA_CXXABI}" PARENT_SCOPE)
endfunction()
