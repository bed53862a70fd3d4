# Toolchain for a template as it is, with Clang for the Microsoft C++ ABI: with a replacement for Microsoft's C runtime.
include("${CMAKE_CURRENT_LIST_DIR}/../microsoft/clang.cmake")
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../../cmake/wine-run")
get_property(is_trial GLOBAL PROPERTY IN_TRY_COMPILE)
if(NOT is_trial)
  set(CMAKE_PROJECT_INCLUDE "${CMAKE_CURRENT_LIST_DIR}/microsoft_runtime.cmake")
endif()
