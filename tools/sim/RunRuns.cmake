# Plays GROUP.1.jsonl, GROUP.2.jsonl, ... from DIR in turn with one fresh state directory, each
# checked against its GROUP.N.expected.jsonl.
file(REMOVE_RECURSE ${STATE})
file(GLOB runs ${DIR}/${GROUP}.*.jsonl)
list(FILTER runs EXCLUDE REGEX "\\.expected\\.jsonl$")
list(SORT runs COMPARE NATURAL)
foreach(run ${runs})
  string(REGEX REPLACE "\\.jsonl$" ".expected.jsonl" expected ${run})
  execute_process(COMMAND ${SIM} --state ${STATE} --check ${expected} ${run}
                  RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${run}: tandri-sim exited with ${result}")
  endif()
endforeach()
