# After the project's languages are known: the headers, and libraries that every target is linked with.
set(here "${CMAKE_CURRENT_LIST_DIR}")
include_directories(SYSTEM "${here}/include" "${here}/../microsoft/include")
add_compile_options(-Wno-delete-non-virtual-dtor)
foreach(name IN ITEMS msvcrt kernel32)
  file(GLOB definitions "${here}/${name}.def" "${here}/../microsoft/${name}.def")
  execute_process(COMMAND llvm-dlltool-19 -m i386:x86-64 -d ${definitions} -l "${CMAKE_BINARY_DIR}/${name}.lib"
                  COMMAND_ERROR_IS_FATAL ANY)
endforeach()
link_libraries("${CMAKE_BINARY_DIR}/msvcrt.lib" "${CMAKE_BINARY_DIR}/kernel32.lib")

# As objects: an entry point in an archive is not looked for.
add_library(run_time OBJECT "${here}/../microsoft/runtime.cpp")
add_library(start OBJECT "${here}/start.cpp")
find_package(qeCore 1.0 REQUIRED)
target_link_libraries(run_time PRIVATE qeCore::qeCore)
target_include_directories(run_time PRIVATE "${here}/../microsoft")
link_libraries($<$<NOT:$<STREQUAL:$<TARGET_PROPERTY:TYPE>,OBJECT_LIBRARY>>:$<TARGET_OBJECTS:run_time>>
               $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:$<TARGET_OBJECTS:start>>)
add_link_options($<IF:$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>,-Wl$<COMMA>/entry:Start$<COMMA>/subsystem:console,-Wl$<COMMA>/entry:DllMain>)
