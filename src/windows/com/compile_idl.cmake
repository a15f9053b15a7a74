# Compiles IDL to HEADER and TYPE_LIBRARY with WIDL. The compiler reports some defaults that it cannot write as mere
# warnings and then writes a broken library, so a warning is an error here.
foreach(output "-h;-o;${HEADER}" "-t;-o;${TYPE_LIBRARY}")
  execute_process(COMMAND ${WIDL} -I${IMPORTS} -L${LIBRARIES} ${output} ${IDL}
                  RESULT_VARIABLE status ERROR_VARIABLE messages OUTPUT_VARIABLE messages)
  if(status OR messages)
    file(REMOVE ${HEADER} ${TYPE_LIBRARY})
    message(FATAL_ERROR "${IDL}: ${messages}")
  endif()
endforeach()
