# A project of your own from a template:
#
#   cmake -P new.cmake plugin sketch            makes the folder sketch, in which
#   cmake -P new.cmake plugin sketch FOLDER     or FOLDER, in which everything named "example" is named "sketch"
#   cmake -P new.cmake host viewer
#
# A plug-in gets a class identifier of its own.
cmake_minimum_required(VERSION 3.25)

set(arguments "")
math(EXPR last "${CMAKE_ARGC} - 1")
foreach(i RANGE ${last})
  list(APPEND arguments "${CMAKE_ARGV${i}}")
endforeach()
list(FIND arguments "-P" at)
math(EXPR at "${at} + 2")
list(SUBLIST arguments ${at} -1 arguments)
list(LENGTH arguments count)
if(count LESS 2 OR count GREATER 3)
  message(FATAL_ERROR "usage: cmake -P new.cmake plugin|host NAME [FOLDER]")
endif()
list(GET arguments 0 kind)
list(GET arguments 1 name)
set(folder "${name}")
if(count EQUAL 3)
  list(GET arguments 2 folder)
endif()

if(NOT kind MATCHES "^(plugin|host)$")
  message(FATAL_ERROR "there is no template ${kind}: plugin, host")
elseif(NOT name MATCHES "^[a-z][a-z0-9_]*$" OR name MATCHES "^(try|test|all|clean)$")
  message(FATAL_ERROR "the name must have lower-case letters, digits and _, and begin with a letter: ${name}")
endif()
cmake_path(ABSOLUTE_PATH folder)
if(EXISTS "${folder}")
  message(FATAL_ERROR "${folder} exists already")
endif()

# sketch_pad, SKETCH_PAD, SketchPad
string(TOUPPER "${name}" upper)
set(camel "")
string(REPLACE "_" ";" words "${name}")
foreach(word IN LISTS words)
  string(SUBSTRING "${word}" 0 1 first)
  string(SUBSTRING "${word}" 1 -1 rest)
  string(TOUPPER "${first}" first)
  string(APPEND camel "${first}${rest}")
endforeach()
string(RANDOM LENGTH 32 ALPHABET "0123456789ABCDEF" digits)
string(REGEX REPLACE "^(........)(....)(....)(.*)$" "0x\\1, 0x\\2, 0x\\3, {\\4}" id "${digits}")
string(REGEX REPLACE "{(..)(..)(..)(..)(..)(..)(..)(..)}" "{0x\\1, 0x\\2, 0x\\3, 0x\\4, 0x\\5, 0x\\6, 0x\\7, 0x\\8}" id "${id}")

file(GLOB files RELATIVE "${CMAKE_CURRENT_LIST_DIR}/${kind}" "${CMAKE_CURRENT_LIST_DIR}/${kind}/*")
foreach(file IN LISTS files)
  file(READ "${CMAKE_CURRENT_LIST_DIR}/${kind}/${file}" text)
  string(REGEX REPLACE "0xE4A3B0C1, [^}]*}" "${id}" text "${text}")
  string(REPLACE "example" "${name}" text "${text}")
  string(REPLACE "Example" "${camel}" text "${text}")
  string(REPLACE "EXAMPLE" "${upper}" text "${text}")
  string(REPLACE "example" "${name}" file "${file}")
  file(WRITE "${folder}/${file}" "${text}")
endforeach()
message(STATUS "${folder} is ready: see its README.md")
