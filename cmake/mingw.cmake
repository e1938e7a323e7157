# Toolchain: Windows programs with Debian's MinGW-w64. PV_WINDOWS is the processor, i686 or x86_64.
set(CMAKE_SYSTEM_NAME Windows)
set(PV_WINDOWS i686 CACHE STRING "Processor of the Windows build")
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PV_WINDOWS)
set(CMAKE_SYSTEM_PROCESSOR ${PV_WINDOWS})

# The thread model "posix" has what std::mutex needs.
set(CMAKE_CXX_COMPILER ${PV_WINDOWS}-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER ${PV_WINDOWS}-w64-mingw32-windres)
set(PV_WIDL ${PV_WINDOWS}-w64-mingw32-widl)

set(CMAKE_FIND_ROOT_PATH /usr/${PV_WINDOWS}-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The old floating-point unit would round twice, and keys made from numbers would differ.
if(PV_WINDOWS STREQUAL i686)
  set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse -mstackrealign")
endif()
