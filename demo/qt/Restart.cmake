# Restarts of the Qt demo on one data directory: the second checkout page must remember the user
# the first one signed in, and a third start whose button page is answered with 404 must show the
# button page the earlier runs saved.
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
execute_process(COMMAND ${CMAKE_COMMAND} -E env XDG_DATA_HOME=${DATA}
    ${WITH_DISPLAY} ${DEMO} --auto cached-button --button-status 404 --timeout 120
  OUTPUT_VARIABLE out RESULT_VARIABLE status)
message(STATUS "404 run: ${out}")
if(NOT status EQUAL 0 OR NOT out MATCHES "\"savedPageShown\":true")
  message(FATAL_ERROR "with its page answered 404 the button did not show the saved page")
endif()
file(REMOVE_RECURSE ${DATA})
