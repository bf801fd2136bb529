# The real program with the reference plug-ins on this machine: --help lists
# features, and a short collection of every suitable feature writes its
# result file and summary. Where the FILE collector serves the features
# (Linux), a simulated collection of the recorded tree of tests/data/host
# gives the golden summary byte for byte, and -i reproduces it.
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
set(VANTRY ${BIN_DIR}/${PROGRAM_NAME})

execute_process(COMMAND ${EMULATOR} ${VANTRY} --help WORKING_DIRECTORY ${WORK_DIR}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "vantry --help failed (${rc}):\n${out}\n${err}")
endif()
foreach(expected "General Options" "Collection Options" "Individual Features (on this machine):")
  string(FIND "${out}" "${expected}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "vantry --help lacks \"${expected}\":\n${out}")
  endif()
endforeach()

execute_process(COMMAND ${EMULATOR} ${VANTRY} -f all -t ${SECONDS} -o real -r sum,csv,json
                WORKING_DIRECTORY ${WORK_DIR}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "vantry -f all -t ${SECONDS} failed (${rc}):\n${out}\n${err}")
endif()
foreach(file real.vtr real.txt)
  if(NOT EXISTS ${WORK_DIR}/${file})
    message(FATAL_ERROR "vantry -f all did not write ${file}:\n${out}\n${err}")
  endif()
endforeach()
file(READ ${WORK_DIR}/real.txt summary)
foreach(expected "Post Processed using Vantry" "Command line options: vantry -f all -t ${SECONDS}"
                 "System Name: ")
  string(FIND "${summary}" "${expected}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "real.txt lacks \"${expected}\":\n${summary}")
  endif()
endforeach()

if(NOT RECORDED)
  return()
endif()
file(COPY ${DATA_DIR}/recorded DESTINATION ${WORK_DIR})
execute_process(COMMAND ${EMULATOR} ${VANTRY} --source-root recorded --simulate -f all -t 0.3
                        -o golden -r sum,csv,json
                WORKING_DIRECTORY ${WORK_DIR}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "recorded collection failed (${rc}):\n${out}\n${err}")
endif()
function(read_report var path)
  file(READ ${path} text)
  string(REPLACE "\r\n" "\n" text "${text}")
  string(REGEX REPLACE "(Post Processed using Vantry for Windows\\* OS Version [^[]*)\\[[^]]*\\]"
         "\\1[LIBRARY BUILD DATE]" text "${text}")
  set(${var} "${text}" PARENT_SCOPE)
endfunction()
read_report(report ${WORK_DIR}/golden.txt)
read_report(expected ${DATA_DIR}/golden_recorded.txt)
if(NOT report STREQUAL expected)
  file(WRITE ${WORK_DIR}/golden.normalized.txt "${report}")
  message(FATAL_ERROR "golden.txt differs from tests/data/host/golden_recorded.txt; see "
                      "${WORK_DIR}/golden.normalized.txt")
endif()
foreach(file golden.csv golden.json)
  file(RENAME ${WORK_DIR}/${file} ${WORK_DIR}/first-${file})
endforeach()
file(RENAME ${WORK_DIR}/golden.txt ${WORK_DIR}/first-golden.txt)
execute_process(COMMAND ${EMULATOR} ${VANTRY} -i golden -r sum,csv,json
                WORKING_DIRECTORY ${WORK_DIR}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "-i golden failed (${rc}):\n${err}")
endif()
foreach(file golden.txt golden.csv golden.json)
  file(READ ${WORK_DIR}/first-${file} first)
  file(READ ${WORK_DIR}/${file} again)
  if(NOT first STREQUAL again)
    message(FATAL_ERROR "-i golden wrote another ${file}")
  endif()
endforeach()

# A recorded machine without topology files: its processors become cores of
# one package, said in one line, and no per-processor table goes missing.
file(COPY ${DATA_DIR}/recorded/ DESTINATION ${WORK_DIR}/flat)
file(GLOB topology_dirs LIST_DIRECTORIES true
     ${WORK_DIR}/flat/*/sys/devices/system/cpu/cpu*/topology)
if(NOT topology_dirs)
  message(FATAL_ERROR "the recorded tree has no topology folders to remove")
endif()
file(REMOVE_RECURSE ${topology_dirs})
execute_process(COMMAND ${EMULATOR} ${VANTRY} --source-root flat --simulate -f all -t 0.3
                        -o flatrun -r sum
                WORKING_DIRECTORY ${WORK_DIR}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
string(REGEX MATCH "WARNING: the processor topology was not found \\(no cpuN/topology in flat/0/sys/devices/system/cpu\\); each of the ([0-9]+) logical processors is taken as a core of its own in one package\n" note "${err}")
if(NOT rc EQUAL 0 OR NOT note)
  message(FATAL_ERROR "no topology files: status ${rc}:\n${err}")
endif()
read_report(flat ${WORK_DIR}/flatrun.txt)
foreach(expected "Total # of logical processors: ${CMAKE_MATCH_1}" "CPU C-State Residency (%)"
                 "CPU Frequency (MHz)" "Interrupts per Logical Processor")
  string(FIND "${flat}" "${expected}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "no topology files: the report lacks \"${expected}\":\n${flat}")
  endif()
endforeach()
