# Writes the commit that this tree stands at into a header: cmake -D SOURCE=... -D OUT=... [-D COMMIT=...] -P
cmake_minimum_required(VERSION 3.25)
if(NOT COMMIT)
  execute_process(COMMAND git -C ${SOURCE} describe --always --dirty --abbrev=40 --exclude=*
                  OUTPUT_VARIABLE COMMIT OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
if(NOT COMMIT)
  set(COMMIT unknown)
endif()
# Nothing is built anew while the text stays.
file(CONFIGURE OUTPUT ${OUT} CONTENT "#define KIV_COMMIT \"@COMMIT@\"\n" @ONLY)
