# Include check of one library folder, run as part of the build:
#   cmake -DROOT=<top of the tree> -DFOLDER=kor/<folder> -DALLOWED=<a,b,...> -P CheckLayers.cmake
# Every #include line of FOLDER's headers and sources may name the folder
# itself, the kor/ folders in ALLOWED, and anything outside the tree's own
# top-level folders (the runtime's vix/, nollo/, quill/, models/ and the
# standard library). An include of any other kor/ folder, or of a folder that
# stands above the library (agent/, softchip/, feeds/, tests/, bench/, fuzz/),
# is reported as file:line with the forbidden edge, and the check fails.
cmake_minimum_required(VERSION 3.20)

foreach(var ROOT FOLDER)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "CheckLayers: ${var} not set")
  endif()
endforeach()
string(REPLACE "," ";" allowed "${ALLOWED}")
get_filename_component(self "${FOLDER}" NAME)
set(above agent softchip feeds tests bench fuzz)

file(GLOB files LIST_DIRECTORIES false RELATIVE "${ROOT}" "${ROOT}/${FOLDER}/*.h" "${ROOT}/${FOLDER}/*.cc")
list(SORT files)
set(errors "")
foreach(file IN LISTS files)
  file(READ "${ROOT}/${file}" text)
  # One list element per line: characters that CMake lists treat specially
  # are folded away first (they never matter to an include line's target).
  string(REPLACE "\\" "/" text "${text}")
  string(REPLACE ";" "," text "${text}")
  string(REPLACE "[" "(" text "${text}")
  string(REPLACE "]" ")" text "${text}")
  string(REPLACE "\n" ";" lines "${text}")
  set(lineNo 0)
  foreach(line IN LISTS lines)
    math(EXPR lineNo "${lineNo} + 1")
    if(NOT line MATCHES "^[ \t]*#[ \t]*include[ \t]*[<\"]([^>\"]+)[>\"]")
      continue()
    endif()
    set(target "${CMAKE_MATCH_1}")
    if(target MATCHES "^kor/([^/]+)/")
      set(to "${CMAKE_MATCH_1}")
      if(to STREQUAL self OR to IN_LIST allowed)
        continue()
      endif()
      string(APPEND errors "${file}:${lineNo}: forbidden include ${self} -> ${to} (${target}); kor/${self} may include: ${ALLOWED}\n")
    elseif(target MATCHES "^([^/]+)/")
      set(to "${CMAKE_MATCH_1}")
      if(to IN_LIST above)
        string(APPEND errors "${file}:${lineNo}: forbidden include ${self} -> ${to} (${target}); the library stands below ${to}/\n")
      endif()
    endif()
  endforeach()
endforeach()

if(errors)
  message(FATAL_ERROR "layer check of ${FOLDER} failed (the layers are in docs/architecture.md):\n${errors}")
endif()
