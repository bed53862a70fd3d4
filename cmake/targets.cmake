# Small functions shared by the folders' CMakeLists.txt. Sources are found by folder: a new file needs no edit here.

# qecore_folders(<out> <folder>): the names of the folders in <folder> that hold C++ sources.
function(qecore_folders out folder)
  set(names "")
  file(GLOB sources CONFIGURE_DEPENDS "${folder}/*/*.cpp")
  foreach(source IN LISTS sources)
    cmake_path(GET source PARENT_PATH parent)
    cmake_path(GET parent FILENAME name)
    list(APPEND names "${name}")
  endforeach()
  list(REMOVE_DUPLICATES names)
  set(${out} "${names}" PARENT_SCOPE)
endfunction()

# qecore_version_resource(<target> <description>): what the file's properties show of a library, plug-in or program that is installed.
function(qecore_version_resource target description)
  set(type_EXECUTABLE 1)
  set(type_SHARED_LIBRARY 2)
  set(type_MODULE_LIBRARY 2)
  set(suffix_EXECUTABLE .exe)
  set(suffix_SHARED_LIBRARY .dll)
  set(suffix_MODULE_LIBRARY .qem)
  get_target_property(kind ${target} TYPE)
  set(type ${type_${kind}})
  set(suffix ${suffix_${kind}})
  configure_file("${PROJECT_SOURCE_DIR}/cmake/version.rc.in" "${CMAKE_CURRENT_BINARY_DIR}/${target}.rc" @ONLY)
  target_sources(${target} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/${target}.rc")
endfunction()

# qecore_program(<name> <folder>): <name>.exe from the sources and resources of <folder>.
function(qecore_program name folder)
  file(GLOB sources CONFIGURE_DEPENDS "${folder}/*.cpp" "${folder}/*.rc")
  add_executable(${name} ${sources})
  target_link_libraries(${name} PRIVATE qeCore::qeCore qecore_flags)
endfunction()

# qecore_module_sources(<target> <name>...): files of this folder that a library includes if it is linked with GCC's C++ run-time.
function(qecore_module_sources target)
  if(MINGW)
    list(TRANSFORM ARGN REPLACE ".+" "${PROJECT_SOURCE_DIR}/cmake/\\0.cpp" OUTPUT_VARIABLE sources)
    target_sources(${target} PRIVATE ${sources})
  endif()
endfunction()

# qecore_plugin(<name> <folder>): <name>.qem from the sources and resources of <folder>.
function(qecore_plugin name folder)
  file(GLOB sources CONFIGURE_DEPENDS "${folder}/*.cpp" "${folder}/*.rc")
  add_library(${name} MODULE ${sources})
  qecore_module_sources(${name} operator_new free_exception_pool)
  set_target_properties(${name} PROPERTIES PREFIX "" SUFFIX ".qem")
  target_link_libraries(${name} PRIVATE qeCore::qeCore qecore_flags)
endfunction()
