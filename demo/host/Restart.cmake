# Three runs of the demo on one device (one data directory): a checkout that the page asks to
# remember; a restart whose button page answers 404, so the button must show the page saved by
# the first run; a restart whose checkout page must greet the remembered user and find its own
# cookie and local storage from the first run.
file(REMOVE_RECURSE ${DATA})
function(run_demo expect)
  execute_process(COMMAND ${WITH_DISPLAY} ${DEMO} ${ARGN} --timeout 240
                  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE errors)
  message(STATUS "tandri-demo ${ARGN}: ${output}")
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "tandri-demo ${ARGN} exited with ${result}\n${errors}")
  endif()
  string(FIND "${output}" "${expect}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "tandri-demo ${ARGN}: expected ${expect}")
  endif()
endfunction()
set(ENV{XDG_DATA_HOME} ${DATA})
run_demo("\"rememberedUser\":null,\"pageVisits\":{\"localStorage\":1,\"cookie\":1}"
         --auto success)
run_demo("\"savedPageText\":\"Pay 24.99 USD with Tandri\"" --auto cached-button --button-status 404)
run_demo("\"rememberedUser\":\"auto@example.test\",\"pageVisits\":{\"localStorage\":2,\"cookie\":2}"
         --auto success)
