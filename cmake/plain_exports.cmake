# Takes the decorated names out of the linker's module definition: cmake -D DEF=... -D OUT=... -P
file(STRINGS ${DEF} lines)
list(FILTER lines EXCLUDE REGEX "^ *\"?_Z")
list(JOIN lines "\n" text)
file(WRITE ${OUT} "LIBRARY kiv.dll\n${text}\n")
