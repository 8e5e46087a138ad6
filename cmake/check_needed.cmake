# Fails when the kit's library needs any library but those of the language itself.
execute_process(COMMAND ${READELF} --dynamic ${LIBRARY} OUTPUT_VARIABLE dynamic
                COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "\\(NEEDED\\)[^\n]*\\[[^]]*\\]" needed "${dynamic}")
if(NOT needed)
  message(FATAL_ERROR "${LIBRARY} needs nothing at all: is it the kit?")
endif()
foreach(line IN LISTS needed)
  string(REGEX REPLACE ".*\\[(.*)\\]" "\\1" name "${line}")
  if(NOT name MATCHES "^(libstdc\\+\\+|libm|libgcc_s|libc|ld-linux[^.]*)\\.so")
    message(FATAL_ERROR "${LIBRARY} needs ${name}")
  endif()
endforeach()
