# vantry-meta prints a file written by write_sample_metadata, refuses a
# damaged copy, a missing file, a folder, a device, a FIFO and stray bytes
# after the last record with one line and exit status 1, and describes this
# machine with --probe.
file(MAKE_DIRECTORY ${WORK_DIR})

function(run_tool out_var rc_var err_var)
  execute_process(COMMAND ${EMULATOR} ${ARGN} WORKING_DIRECTORY ${WORK_DIR}
                  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  # Windows programs end their lines with a carriage return and a line feed.
  string(REPLACE "\r\n" "\n" out "${out}")
  string(REPLACE "\r\n" "\n" err "${err}")
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

# Exactly this one line on standard error, nothing on standard output, and
# exit status 1.
function(expect_refusal what expected_err)
  run_tool(out rc err ${ARGN})
  if(NOT rc STREQUAL "1" OR NOT err STREQUAL "${expected_err}\n" OR NOT out STREQUAL "")
    message(FATAL_ERROR "${what}: expected status 1 and \"${expected_err}\", got (${rc}): "
                        "${err}\n${out}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK_DIR}/folder.meta)
file(MAKE_DIRECTORY ${WORK_DIR}/folder.meta)
expect_refusal("a folder" "vantry-meta: cannot open folder.meta: is a folder"
               ${TOOL} folder.meta)

if(NOT WINDOWS)
  # Refused before the first read: read through, /dev/zero never ends.
  expect_refusal("a device" "vantry-meta: cannot open /dev/zero: is not a regular file"
                 ${TOOL} /dev/zero)

  # Opening a FIFO for reading waits for a writer; the timeout turns a
  # regression into a failure instead of a hung run.
  file(REMOVE ${WORK_DIR}/fifo.meta)
  execute_process(COMMAND mkfifo fifo.meta WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "mkfifo failed (${rc})")
  endif()
  execute_process(COMMAND ${EMULATOR} ${TOOL} fifo.meta WORKING_DIRECTORY ${WORK_DIR} TIMEOUT 20
                  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  file(REMOVE ${WORK_DIR}/fifo.meta)
  if(NOT rc STREQUAL "1"
     OR NOT err STREQUAL "vantry-meta: cannot open fifo.meta: is not a regular file\n")
    message(FATAL_ERROR "a FIFO must be refused at once (${rc}): ${err}\n${out}")
  endif()
endif()

# One to three bytes after the last record are too few for a record's type
# code; they are damage, not the end of the file.
file(SIZE ${WORK_DIR}/sample.meta sample_size)
foreach(extra "x" "xy" "xyz")
  string(LENGTH "${extra}" count)
  set(name extra${count}.meta)
  file(REMOVE ${WORK_DIR}/${name})
  file(COPY_FILE ${WORK_DIR}/sample.meta ${WORK_DIR}/${name})
  file(APPEND ${WORK_DIR}/${name} "${extra}")
  if(count EQUAL 1)
    set(stray "1 byte at offset ${sample_size} after record 4 does not")
  else()
    set(stray "${count} bytes at offset ${sample_size} after record 4 do not")
  endif()
  run_tool(out rc err ${TOOL} ${name})
  # The sample's message record also draws a reader's warning; the tool's
  # own lines are the ones that count.
  string(REGEX MATCHALL "vantry-meta:[^\n]*\n" own "${err}")
  set(expected "vantry-meta: ${name}: ${stray} form a record: the file is damaged\n")
  if(NOT rc STREQUAL "1" OR NOT own STREQUAL "${expected}" OR NOT out MATCHES "\n4 records read\n$")
    message(FATAL_ERROR "${count} stray bytes must be reported (${rc}): ${err}\n${out}")
  endif()
endforeach()

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
