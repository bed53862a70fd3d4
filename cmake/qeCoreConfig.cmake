# find_package(qeCore): the target qeCore::qeCore, with the import library of the compiler that uses it.
if(NOT WIN32)
  get_filename_component(toolchain "${CMAKE_CURRENT_LIST_DIR}/../../../share/qecore/mingw-w64.cmake" ABSOLUTE)
  set(qeCore_FOUND FALSE)
  set(qeCore_NOT_FOUND_MESSAGE "It is a library for Windows. To build on Linux, remove the build folder and configure with \
CMAKE_TOOLCHAIN_FILE=${toolchain}")
  return()
endif()
include("${CMAKE_CURRENT_LIST_DIR}/qeCoreTargets.cmake")

# Microsoft's compiler, and Clang with that ABI under either command line.
if(MSVC OR "${CMAKE_CXX_SIMULATE_ID}" STREQUAL "MSVC")
  get_filename_component(library "${CMAKE_CURRENT_LIST_DIR}/../../qeCore.lib" ABSOLUTE)
  if(NOT EXISTS "${library}")
    set(qeCore_FOUND FALSE)
    set(qeCore_NOT_FOUND_MESSAGE "${library} is missing: this package was built without llvm-dlltool")
    return()
  endif()
  get_target_property(configurations qeCore::qeCore IMPORTED_CONFIGURATIONS)
  foreach(configuration IN LISTS configurations)
    set_target_properties(qeCore::qeCore PROPERTIES IMPORTED_IMPLIB_${configuration} "${library}")
  endforeach()
endif()

get_filename_component(qeCore_PREFIX "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)

# qecore_add_plugin(<name> <source>...): the target <name> makes <name>.qem. The code of GCC's run-time is linked into it, with what
# keeps that from ending the process without memory and from leaking when the plug-in is unloaded.
function(qecore_add_plugin name)
  add_library(${name} MODULE ${ARGN})
  set_target_properties(${name} PROPERTIES PREFIX "" SUFFIX ".qem")
  target_link_libraries(${name} PRIVATE qeCore::qeCore)
  if(MINGW)
    set(folder "${qeCore_PREFIX}/share/qecore/gcc")
    target_sources(${name} PRIVATE "${folder}/operator_new.cpp" "${folder}/free_exception_pool.cpp")
    target_link_options(${name} PRIVATE -static)
  endif()
endfunction()

# qecore_add_run_time(<name>): puts the library and its plug-ins next to the program <name>.
function(qecore_add_run_time name)
  file(GLOB files "${qeCore_PREFIX}/bin/qeCore.dll" "${qeCore_PREFIX}/bin/*.qem")
  add_custom_command(TARGET ${name} POST_BUILD COMMAND "${CMAKE_COMMAND}" -E copy_if_different ${files} $<TARGET_FILE_DIR:${name}>)
  if(MINGW)
    target_link_options(${name} PRIVATE -static)
  endif()
endfunction()
