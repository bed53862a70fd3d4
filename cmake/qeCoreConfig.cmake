# find_package(qeCore): the target qeCore::qeCore, with the import library of the compiler that uses it.
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
