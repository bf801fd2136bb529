# End to end on the fake plug-ins (tests/host/fake_plugins.cpp) with a
# recorded tree and the simulated clock: the report matches the golden file
# byte for byte, -i on the result file reproduces it, and every error path
# gives its one line and exit status.
#
# Everything runs in WORK_DIR with relative paths: Wine does not open Unix
# paths, and the command line is part of the report.
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
file(COPY ${DATA_DIR}/tree DESTINATION ${WORK_DIR})
set(VANTRY ${FAKEHOST}/${PROGRAM_NAME})

# Runs the program; sets <prefix>_rc, <prefix>_out and <prefix>_err (with
# Windows line ends turned into plain line feeds).
function(run_vantry prefix program)
  execute_process(COMMAND ${EMULATOR} ${program} ${ARGN} WORKING_DIRECTORY ${WORK_DIR}
                  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  string(REPLACE "\r\n" "\n" out "${out}")
  string(REPLACE "\r\n" "\n" err "${err}")
  set(${prefix}_rc "${rc}" PARENT_SCOPE)
  set(${prefix}_out "${out}" PARENT_SCOPE)
  set(${prefix}_err "${err}" PARENT_SCOPE)
endfunction()

function(read_text var path)
  if(NOT EXISTS ${path})
    message(FATAL_ERROR "${path} was not written")
  endif()
  file(READ ${path} text)
  string(REPLACE "\r\n" "\n" text "${text}")
  # The library's build date is the only part of the report that depends on
  # when it was built.
  string(REGEX REPLACE "(Post Processed using Vantry for Windows\\* OS Version [^[]*)\\[[^]]*\\]"
         "\\1[LIBRARY BUILD DATE]" text "${text}")
  set(${var} "${text}" PARENT_SCOPE)
endfunction()

function(expect_failure name rc line)
  run_vantry(r ${VANTRY} ${ARGN})
  if(NOT r_rc EQUAL ${rc})
    message(FATAL_ERROR "${name}: exit status ${r_rc}, expected ${rc}\n${r_out}\n${r_err}")
  endif()
  if(NOT r_err STREQUAL "${line}\n")
    message(FATAL_ERROR "${name}: expected exactly the line\n${line}\ngot\n${r_err}")
  endif()
endfunction()

# 1. A simulated collection: 1 s at 250 ms is BEGIN, four polls and END.
set(collect_args --source-root tree --simulate -f ticks -t 1 -n 250 -o out -r sum,list)
run_vantry(c ${VANTRY} ${collect_args})
if(NOT c_rc EQUAL 0)
  message(FATAL_ERROR "collection failed (${c_rc}):\n${c_out}\n${c_err}")
endif()
if(NOT c_err STREQUAL "")
  message(FATAL_ERROR "collection wrote to stderr:\n${c_err}")
endif()
read_text(report ${WORK_DIR}/out.txt)
read_text(golden ${DATA_DIR}/golden_summary.txt)
if(NOT report STREQUAL golden)
  file(WRITE ${WORK_DIR}/out.normalized.txt "${report}")
  message(FATAL_ERROR "out.txt differs from tests/data/host/golden_summary.txt; "
                      "see ${WORK_DIR}/out.normalized.txt:\n${report}")
endif()
string(FIND "${c_out}" "Fake ticks" at)
read_text(list ${WORK_DIR}/out.list)
if(NOT list STREQUAL "messages 4\n")
  message(FATAL_ERROR "out.list: expected the three headers and one text, got ${list}")
endif()
file(GLOB leftovers ${WORK_DIR}/*.tmp)
if(leftovers)
  message(FATAL_ERROR "temporary files left behind: ${leftovers}")
endif()

# vantry-meta reads the result file: its records, features and samples.
execute_process(COMMAND ${EMULATOR} ${META} out.vtr WORKING_DIRECTORY ${WORK_DIR}
                RESULT_VARIABLE meta_rc OUTPUT_VARIABLE meta_out ERROR_VARIABLE meta_err)
string(REPLACE "\r\n" "\n" meta_out "${meta_out}")
foreach(expected "Result file, format 2\n\nSystem record\n" "Message record\n"
                 "Collector record\n" "Features:\n  ticks (FAKE): FAKE_COUNT FAKE_EDGES\n"
                 "  interval-ms = 250\n"
                 "Sample records: 7\n  FAKE_COUNT: 5\n  FAKE_EDGES: 2\n")
  string(FIND "${meta_out}" "${expected}" at)
  if(NOT meta_rc EQUAL 0 OR at EQUAL -1 OR NOT meta_err STREQUAL "")
    message(FATAL_ERROR "vantry-meta out.vtr (${meta_rc}) lacks \"${expected}\":\n${meta_out}\n${meta_err}")
  endif()
endforeach()

# 2. -i reproduces the report, under the collection's own name and another.
file(RENAME ${WORK_DIR}/out.txt ${WORK_DIR}/first.txt)
run_vantry(i ${VANTRY} -i out)
if(NOT i_rc EQUAL 0)
  message(FATAL_ERROR "-i failed (${i_rc}):\n${i_err}")
endif()
file(READ ${WORK_DIR}/first.txt first)
file(READ ${WORK_DIR}/out.txt again)
if(NOT first STREQUAL again)
  message(FATAL_ERROR "-i out gave another report:\n${again}")
endif()
run_vantry(j ${VANTRY} -i out.vtr -o copy.vtr -r LIST)
if(NOT j_rc EQUAL 0 OR NOT EXISTS ${WORK_DIR}/copy.list OR EXISTS ${WORK_DIR}/copy.txt)
  message(FATAL_ERROR "-i out.vtr -o copy -r list: status ${j_rc}, ${j_err}")
endif()

# A collection written by the first release still gives its report.
file(COPY ${DATA_DIR}/release1.vtr DESTINATION ${WORK_DIR})
run_vantry(r1 ${VANTRY} -i release1 -o release1-again -r sum)
read_text(old_report ${WORK_DIR}/release1-again.txt)
read_text(old_golden ${DATA_DIR}/golden_release1.txt)
if(NOT r1_rc EQUAL 0 OR NOT r1_err STREQUAL "" OR NOT old_report STREQUAL old_golden)
  message(FATAL_ERROR "-i release1: status ${r1_rc}, ${r1_err}\n${old_report}")
endif()

# A host that dies in the middle of a collection leaves it under its
# unfinished name, which -i reads back.
file(COPY ${DATA_DIR}/tree/ DESTINATION ${WORK_DIR}/crashtree)
file(WRITE ${WORK_DIR}/crashtree/crash-at-tick "3")
run_vantry(crash ${VANTRY} --source-root crashtree --simulate -f ticks -t 5 -n 250 -o crashed)
file(GLOB unfinished RELATIVE ${WORK_DIR} ${WORK_DIR}/crashed.vtr.*.partial)
list(LENGTH unfinished unfinished_count)
if(crash_rc EQUAL 0 OR NOT unfinished_count EQUAL 1 OR EXISTS ${WORK_DIR}/crashed.vtr)
  message(FATAL_ERROR "crash: status ${crash_rc}, unfinished files: ${unfinished}")
endif()
run_vantry(rec ${VANTRY} -i ${unfinished} -r list)
if(NOT rec_rc EQUAL 0 OR NOT rec_err STREQUAL
   "WARNING: ${unfinished}: recovered 0.5 s of a collection that did not finish\n")
  message(FATAL_ERROR "-i ${unfinished}: status ${rec_rc}:\n${rec_err}")
endif()
if(NOT EXISTS ${WORK_DIR}/crashed.list)
  message(FATAL_ERROR "-i ${unfinished} wrote no report")
endif()
execute_process(COMMAND ${EMULATOR} ${META} ${unfinished} WORKING_DIRECTORY ${WORK_DIR}
                RESULT_VARIABLE meta_rc OUTPUT_VARIABLE meta_out ERROR_VARIABLE meta_err)
string(FIND "${meta_out}" "Not complete: recovered 0.5 s of a collection that did not finish" at)
if(NOT meta_rc EQUAL 0 OR at EQUAL -1)
  message(FATAL_ERROR "vantry-meta ${unfinished} (${meta_rc}):\n${meta_out}\n${meta_err}")
endif()

# Records that belong to no feature of the file (a damaged feature list) are
# named, not dropped in silence.
execute_process(COMMAND ${EMULATOR} ${RESULT_WRITER} nofeatures nofeatures.vtr
                WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE nf_write)
run_vantry(nf ${VANTRY} -i nofeatures -r list)
if(NOT nf_write EQUAL 0 OR NOT nf_rc EQUAL 0 OR NOT nf_err STREQUAL
   "WARNING: 3 sample records belong to no feature of the collection and were left out\n")
  message(FATAL_ERROR "-i nofeatures: ${nf_write}, status ${nf_rc}:\n${nf_err}")
endif()

# -t is kept whatever -n is: polls every interval before the planned end,
# the END readings at the end itself, so the last interval is shorter.
foreach(case "2.5;1000;4;2.5;0" "1;2000;2;1;1" "0.05;100;2;0.05;1")
  list(GET case 0 t)
  list(GET case 1 n)
  list(GET case 2 records)
  list(GET case 3 seconds)
  list(GET case 4 shorter)
  set(note "")
  if(shorter)
    set(note "Note: -t ${t} s is shorter than the interval of ${n} ms; the collection is one interval of ${t} s\n")
  endif()
  run_vantry(d ${VANTRY} --source-root tree --simulate -f ticks -t ${t} -n ${n} -o duration -r sum)
  read_text(duration_report ${WORK_DIR}/duration.txt)
  string(FIND "${duration_report}" "Collection duration (sec):${seconds}\n" at_duration)
  string(FIND "${duration_report}" "  FAKE_COUNT: ${records} records" at_records)
  string(FIND "${d_out}" "${note}Collecting 1 feature every ${n} ms for ${t} s\n" at_note)
  if(NOT d_rc EQUAL 0 OR at_duration EQUAL -1 OR at_records EQUAL -1 OR NOT at_note EQUAL 0)
    message(FATAL_ERROR "-t ${t} -n ${n}: status ${d_rc}:\n${d_out}\n${d_err}")
  endif()
endforeach()

# 3. --no-post-processing leaves the result file only.
run_vantry(n ${VANTRY} --simulate -f fakegroup -t 0.5 -o raw --no-post-processing)
if(NOT n_rc EQUAL 0 OR NOT EXISTS ${WORK_DIR}/raw.vtr OR EXISTS ${WORK_DIR}/raw.txt)
  message(FATAL_ERROR "--no-post-processing: status ${n_rc}, ${n_err}")
endif()
if(NOT n_out STREQUAL "Collecting 1 feature every 100 ms for 0.5 s\nResult file: raw.vtr\n")
  message(FATAL_ERROR "--no-post-processing printed:\n${n_out}")
endif()

# -l copies the console, the report included, into a file.
run_vantry(l ${VANTRY} --simulate -f ticks -t 0.5 -o logged -l run.log)
file(READ ${WORK_DIR}/run.log logged)
string(REPLACE "\r\n" "\n" logged "${logged}")
if(NOT l_rc EQUAL 0 OR NOT logged STREQUAL l_out)
  message(FATAL_ERROR "-l: status ${l_rc}; the log holds\n${logged}\nthe console\n${l_out}")
endif()

# 4. Help lists what is available here, and only that.
run_vantry(h ${VANTRY} --help)
if(NOT h_rc EQUAL 0)
  message(FATAL_ERROR "--help failed (${h_rc}): ${h_err}")
endif()
foreach(expected "General Options" "--print-fms" "Individual Features (on this machine):"
                 "    ticks  Counts fake ticks at every poll" "Feature Groups:"
                 "    all        ticks" "    fakegroup  ticks" "Valid args: sum, list"
                 "Exit Status:\n    0  the collection and every requested report were written")
  string(FIND "${h_out}" "${expected}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "--help lacks \"${expected}\":\n${h_out}")
  endif()
endforeach()
foreach(absent "secret" "orphan" "lonely")
  string(FIND "${h_out}" "${absent}" at)
  if(NOT at EQUAL -1)
    message(FATAL_ERROR "--help shows \"${absent}\":\n${h_out}")
  endif()
endforeach()
run_vantry(hj ${VANTRY} --help-json)
string(JSON first_feature ERROR_VARIABLE json_error GET "${hj_out}" "available features" 0 name)
string(JSON listed_feature ERROR_VARIABLE json_error3 GET "${hj_out}" "features" 0 name)
if(NOT listed_feature STREQUAL "ticks")
  message(FATAL_ERROR "--help-json: \"features\" does not list ticks: ${json_error3}\n${hj_out}")
endif()
string(JSON group_count ERROR_VARIABLE json_error2 LENGTH "${hj_out}" "feature groups")
if(NOT hj_rc EQUAL 0 OR NOT first_feature STREQUAL "ticks" OR NOT group_count EQUAL 2)
  message(FATAL_ERROR "--help-json: ${hj_rc} ${json_error} ${json_error2}\n${hj_out}")
endif()

run_vantry(v ${VANTRY} --simulate -v)
string(FIND "${v_out}" "Orvane(R) Vantry for Windows* OS Version " at)
if(NOT v_rc EQUAL 0 OR NOT at EQUAL 75 OR NOT v_out MATCHES "\\[N/A\\]\nBuild Ref: N/A\n")
  message(FATAL_ERROR "-v printed (${v_rc}):\n${v_out}")
endif()
run_vantry(fms ${VANTRY} --print-fms)
if(NOT fms_rc EQUAL 0 OR NOT fms_out MATCHES "^0x[0-9a-f]+\\.0x[0-9a-f]+\\.0x[0-9a-f]+\n$")
  message(FATAL_ERROR "--print-fms printed (${fms_rc}):\n${fms_out}")
endif()

# 5. Every error a person can act on: one line, and the exit status.
set(see_help "Run vantry --help for the features of this machine")
expect_failure("close match" 2 "ERROR: unknown feature \"tick\"; did you mean ticks? ${see_help}"
               --simulate -f tick -t 1)
expect_failure("no match" 2
               "ERROR: unknown feature \"zzzzzzzz\"; run vantry --help for the features of this machine"
               --simulate -f zzzzzzzz -t 1)
expect_failure("unavailable" 2
               "ERROR: feature \"orphan\" is not available on this machine; run vantry --help for the features that are"
               --simulate -f orphan -t 1)
expect_failure("no argument" 2 "ERROR: option -t needs an argument" -f ticks -t)
expect_failure("bad number" 2 "ERROR: option -t takes a time in seconds, not \"five\""
               -f ticks -t five)
expect_failure("bad interval" 2
               "ERROR: option -n takes a whole number of milliseconds from 1 to 65535, not \"0\""
               -f ticks -n 0)
expect_failure("unknown option" 2
               "ERROR: unknown option \"--tme\"; run vantry --help for the options" --tme 5)
expect_failure("unknown format" 2
               "ERROR: unknown output format \"pdf\" for -r; the formats are: sum, list"
               --simulate -f ticks -t 1 -r pdf)
expect_failure("no feature" 2
               "ERROR: no feature selected; give -f <feature> (-f all for every feature), and run vantry --help for the features of this machine"
               -t 1)
file(MAKE_DIRECTORY ${WORK_DIR}/od)
expect_failure("output folder" 2
               "ERROR: option -o takes a name for the files, not the folder \"od\"; give one in it, such as od/VantryOutput"
               --simulate -f ticks -t 1 -o od)
expect_failure("collection option with -i" 2
               "ERROR: option -t does not apply to -i, which reads a collection already made; leave it out"
               -i out -t 5)
expect_failure("missing input" 1
               "ERROR: cannot read the collection \"missing.vtr\": No such file or directory"
               -i missing)
file(WRITE ${WORK_DIR}/garbage.vtr "this is no collection")
expect_failure("garbage input" 1
               "ERROR: cannot read the collection \"garbage.vtr\": not a Vantry result file"
               -i garbage)
file(WRITE ${WORK_DIR}/newer.vtr "VTRFjunkjunkjunk")
expect_failure("unknown format version" 1
               "ERROR: cannot read the collection \"newer.vtr\": written in result format 1802401130, which this Vantry cannot read (it reads formats 1 to 2)"
               -i newer.vtr)

# 6. A program folder without plug-ins, then one without configuration.
file(MAKE_DIRECTORY ${WORK_DIR}/bare)
file(COPY ${VANTRY} DESTINATION ${WORK_DIR}/bare)
if(WINDOWS)
  file(GLOB dlls ${FAKEHOST}/*.dll)
  file(COPY ${dlls} DESTINATION ${WORK_DIR}/bare)
endif()
run_vantry(b ${WORK_DIR}/bare/${PROGRAM_NAME} -f ticks -t 1)
if(NOT b_rc EQUAL 1 OR NOT b_err MATCHES "^ERROR: plug-in folder \"[^\n]*plugins\" not found; the plug-in modules belong in the folder \"plugins\" beside the vantry program\n$")
  message(FATAL_ERROR "no plug-ins: status ${b_rc}:\n${b_err}")
endif()
file(COPY ${FAKEHOST}/plugins DESTINATION ${WORK_DIR}/bare)
run_vantry(b ${WORK_DIR}/bare/${PROGRAM_NAME} -f ticks -t 1)
if(NOT b_rc EQUAL 1 OR NOT b_err MATCHES "^ERROR: configuration missing: the folder \"[^\n]*config\" needs a platform configuration and an output configuration \\(\\*\\.cfg\\)\n$")
  message(FATAL_ERROR "no configuration: status ${b_rc}:\n${b_err}")
endif()

# 7. A program started with -p runs before the collection, which ends with
# it when no duration is given (POSIX shells only).
if(NOT WINDOWS)
  run_vantry(p ${VANTRY} --simulate -f ticks -o withprogram -r list -p sh -c "echo started > started.txt")
  if(NOT p_rc EQUAL 0 OR NOT EXISTS ${WORK_DIR}/started.txt OR NOT EXISTS ${WORK_DIR}/withprogram.list)
    message(FATAL_ERROR "-p: status ${p_rc}:\n${p_err}")
  endif()
  string(FIND "${p_out}" "Collecting 1 feature every 100 ms until the program ends or Ctrl-C\n" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "-p: the console does not say how the collection ends:\n${p_out}")
  endif()
  # The program's exit status is told (and recorded), and a program that
  # outlives the collection is stopped with it, unless it is to be kept.
  run_vantry(p3 ${VANTRY} --simulate -f ticks -o exit3 -r list -p sh -c "exit 3")
  string(FIND "${p3_out}" "The program \"sh\" ended with exit status 3\n" at)
  if(NOT p3_rc EQUAL 0 OR at EQUAL -1)
    message(FATAL_ERROR "-p exit 3: status ${p3_rc}:\n${p3_out}\n${p3_err}")
  endif()
  run_vantry(pl ${VANTRY} --simulate -f ticks -t 0.5 -o outlives -r list -p sh -c "sleep 60")
  string(FIND "${pl_out}" "The program \"sh\" was stopped at the end of the collection (exit status 143)\n" at)
  if(NOT pl_rc EQUAL 0 OR at EQUAL -1)
    message(FATAL_ERROR "-p outliving -t: status ${pl_rc}:\n${pl_out}\n${pl_err}")
  endif()
  # (Its output goes elsewhere, or the test would wait for it to close ours.)
  run_vantry(pk ${VANTRY} --simulate -f ticks -t 0.5 -o kept -r list --keep-program
             -p sh -c "exec sleep 60 >/dev/null 2>&1")
  string(REGEX MATCH "The program \"sh\" keeps running \\(process id ([0-9]+)\\)\n" kept "${pk_out}")
  if(NOT pk_rc EQUAL 0 OR NOT kept)
    message(FATAL_ERROR "--keep-program: status ${pk_rc}:\n${pk_out}\n${pk_err}")
  endif()
  execute_process(COMMAND kill ${CMAKE_MATCH_1} RESULT_VARIABLE kill_rc)
  if(NOT kill_rc EQUAL 0)
    message(FATAL_ERROR "--keep-program: process ${CMAKE_MATCH_1} was not running")
  endif()
  expect_failure("program not found" 1
                 "ERROR: cannot start the program \"./no-such-program\": No such file or directory"
                 --simulate -f ticks -t 1 -p ./no-such-program)
endif()
