# A restart of the Qt demo: two checkouts one after the other on the same data directory; the
# second checkout page must remember the user the first one signed in.
#   cmake -DDEMO=… -DWITH_DISPLAY=… -DDATA=dir -P Restart.cmake
file(REMOVE_RECURSE ${DATA})
foreach(run first second)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env XDG_DATA_HOME=${DATA}
      ${WITH_DISPLAY} ${DEMO} --auto success --timeout 240
    OUTPUT_VARIABLE out RESULT_VARIABLE status)
  message(STATUS "${run} run: ${out}")
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "the ${run} run failed (${status})")
  endif()
endforeach()
if(NOT out MATCHES "\"rememberedUser\":\"auto@example.test\"")
  message(FATAL_ERROR "after the restart the checkout did not remember the user")
endif()
file(REMOVE_RECURSE ${DATA})
