# Turns the linker's module definition into rows KIV_EXPORT(number, "symbol"): cmake -D DEF=... -D OUT=... -P
file(STRINGS ${DEF} lines REGEX "@[0-9]+")
set(rows "")
foreach(line IN LISTS lines)
  string(REGEX REPLACE "^ *\"?([^ \"]+)\"? *@([0-9]+).*" "KIV_EXPORT(\\2, \"\\1\")\n" row "${line}")
  string(APPEND rows "${row}")
endforeach()
file(CONFIGURE OUTPUT ${OUT} CONTENT "${rows}" @ONLY)
