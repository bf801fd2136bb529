# vantry-meta prints a file written by write_sample_metadata, refuses a
# damaged copy and a missing file with a message and exit status 1, and
# describes this machine with --probe.
file(MAKE_DIRECTORY ${WORK_DIR})

function(run_tool out_var rc_var err_var)
  execute_process(COMMAND ${EMULATOR} ${ARGN} WORKING_DIRECTORY ${WORK_DIR}
                  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  set(${out_var} "${out}" PARENT_SCOPE)
  set(${rc_var} "${rc}" PARENT_SCOPE)
  set(${err_var} "${err}" PARENT_SCOPE)
endfunction()

run_tool(out rc err ${WRITER} sample.meta)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "writing the sample failed (${rc}): ${err}")
endif()

run_tool(out rc err ${TOOL} sample.meta)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "vantry-meta failed (${rc}): ${err}\n${out}")
endif()
foreach(expected
    "System record"
    "Orvane(R) Vantry for Windows* OS Version 2026.1.3"
    "System Name: bench-host"
    "Host name: bench-host"
    "Collection command line: vantry -collect thermal "
    "Message record"
    "  Capability: thermal"
    "  Operation: read-temp"
    "    Operation text: MSR_READ 0x19c"
    "Metric record"
    "  unit = oC"
    "Collector record"
    "  Name: msr-collector"
    "4 records read")
  string(FIND "${out}" "${expected}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "missing \"${expected}\" in:\n${out}")
  endif()
endforeach()

# A copy cut short in its last record.
run_tool(out rc err ${WRITER} cut.meta --cut)
run_tool(out rc err ${TOOL} cut.meta)
if(NOT rc EQUAL 1 OR NOT err MATCHES "record 4 cannot be read")
  message(FATAL_ERROR "a damaged file must fail with a message (${rc}): ${err}")
endif()

run_tool(out rc err ${TOOL} missing.meta)
if(NOT rc EQUAL 1 OR NOT err MATCHES "cannot open missing.meta")
  message(FATAL_ERROR "a missing file must fail with a message (${rc}): ${err}")
endif()

# --probe describes this machine, writes the record and reads it back.
run_tool(out rc err ${TOOL} --probe probe.meta)
if(NOT rc EQUAL 0 OR NOT out MATCHES "Total # of logical processors: [1-9]"
   OR NOT out MATCHES "Host name: [^\n]")
  message(FATAL_ERROR "vantry-meta --probe failed (${rc}): ${err}\n${out}")
endif()
run_tool(out rc err ${TOOL} probe.meta)
if(NOT rc EQUAL 0 OR NOT out MATCHES "1 record read")
  message(FATAL_ERROR "the probed record cannot be read back (${rc}): ${err}\n${out}")
endif()
