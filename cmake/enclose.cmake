# Puts the name of an object in front of all names of C that it defines, so that no other library's are
# meant by them. Kept global: on MIPS a call cannot be turned to a local name.
#   OBJECT, NAME, NM, OBJCOPY
execute_process(COMMAND ${NM} -g --defined-only ${OBJECT} OUTPUT_VARIABLE listing
  COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL " [A-Za-z] [^\n]+" symbols "${listing}")
set(renamed "")
foreach(symbol ${symbols})
  string(SUBSTRING "${symbol}" 3 -1 symbol)
  if(NOT symbol MATCHES "^(_Z|DW\\.)")
    string(APPEND renamed "${symbol} ${NAME}_${symbol}\n")
  endif()
endforeach()
file(WRITE ${OBJECT}.names "${renamed}")
execute_process(COMMAND ${OBJCOPY} --redefine-syms=${OBJECT}.names ${OBJECT}
  COMMAND_ERROR_IS_FATAL ANY)
