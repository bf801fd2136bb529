# On a Linux machine with cpuidle: the idle-state residency that vantry
# reports for each logical processor over a 5-second collection agrees, within
# 1 % of the interval, with the change of the kernel's cpuidle counters over
# the same run.
#
# The kernel adds an idle period to its counter only when the processor
# wakes, so on a quiet machine a counter can lag by the length of a long
# sleep at either reading. A light waker pinned to each processor (a short
# sleep command every 10 ms) keeps the counters current while they are read
# and while vantry runs; the processors stay mostly idle. The counters are
# read just before and after the program, so they also hold the idle time of
# its start-up and reports: that time, at most the program's run time beyond
# the 5 s, is allowed on top of the 1 %.
file(GLOB idle_files /sys/devices/system/cpu/cpu[0-9]*/cpuidle/state[0-9]*/time)
if(NOT idle_files)
  message(STATUS "no cpuidle counters on this machine: nothing to compare")
  return()
endif()
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})

# Prints "<cpu> <before> <after>" per processor, then "outside <us>".
file(WRITE ${WORK_DIR}/measure.sh [=[
sums() {
  for dir in /sys/devices/system/cpu/cpu[0-9]*; do
    [ -d "$dir/cpuidle" ] || continue
    total=0
    for f in "$dir"/cpuidle/state[0-9]*/time; do total=$((total + $(cat "$f"))); done
    echo "${dir##*cpu} $total"
  done
}
pids=""
for dir in /sys/devices/system/cpu/cpu[0-9]*; do
  [ -d "$dir/cpuidle" ] || continue
  taskset -c "${dir##*cpu}" sh -c 'while :; do sleep 0.01; done' &
  pids="$pids $!"
done
sleep 0.2
sums > before.txt
started=$(date +%s%6N)
"$1" -f cstate -t 5 -o idle -r csv > vantry.log 2>&1
status=$?
ended=$(date +%s%6N)
sums > after.txt
kill $pids
[ $status -eq 0 ] || { cat vantry.log; exit $status; }
join before.txt after.txt
echo "outside $((ended - started - 5000000))"
]=])
execute_process(COMMAND sh ${WORK_DIR}/measure.sh ${BIN_DIR}/${PROGRAM_NAME}
                WORKING_DIRECTORY ${WORK_DIR}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "vantry -f cstate -t 5 failed (${rc}):\n${out}\n${err}")
endif()
string(REGEX MATCH "outside (-?[0-9]+)" _ "${out}")
set(outside ${CMAKE_MATCH_1})
if(outside LESS 0)
  set(outside 0)
endif()

# The milliseconds table: "CPU/.../Thread <cpu>,<C0>,<idle state>,..." rows.
file(STRINGS ${WORK_DIR}/idle.csv lines)
set(in_table OFF)
foreach(line ${lines})
  string(STRIP "${line}" line)
  if(line STREQUAL "CPU C-State Residency (msec)")
    set(in_table ON)
  elseif(in_table AND line MATCHES "^CPU/.*Thread ([0-9]+),[^,]*,(.*)$")
    set(cpu ${CMAKE_MATCH_1})
    string(REPLACE "," ";" cells "${CMAKE_MATCH_2}")
    set(reported 0)
    foreach(cell ${cells})
      # Milliseconds with one decimal, summed in microseconds.
      string(REGEX REPLACE "^([0-9]+)\\.([0-9])$" "\\1\\200" micro "${cell}")
      math(EXPR reported "${reported} + ${micro}")
    endforeach()
    set(reported_${cpu} ${reported})
  elseif(in_table AND line STREQUAL "")
    set(in_table OFF)
  endif()
endforeach()

string(REGEX MATCHALL "[0-9]+ [0-9]+ [0-9]+\n" rows "${out}")
foreach(row ${rows})
  string(REGEX MATCH "^([0-9]+) ([0-9]+) ([0-9]+)" _ "${row}")
  set(cpu ${CMAKE_MATCH_1})
  math(EXPR counted "${CMAKE_MATCH_3} - ${CMAKE_MATCH_2}")
  if(NOT DEFINED reported_${cpu})
    message(FATAL_ERROR "no residency row for cpu ${cpu} in idle.csv")
  endif()
  # 1 % of the 5-second interval either way; the counters may also hold the
  # idle time of the run outside the collection.
  math(EXPR low "${counted} - 50000 - ${outside}")
  math(EXPR high "${counted} + 50000")
  message(STATUS "cpu ${cpu}: counters ${counted} us idle, vantry ${reported_${cpu}} us, "
                 "${outside} us outside the collection")
  if(reported_${cpu} LESS low OR reported_${cpu} GREATER high)
    message(FATAL_ERROR "cpu ${cpu}: vantry reports ${reported_${cpu}} us idle, the cpuidle "
                        "counters changed by ${counted} us")
  endif()
endforeach()
if(NOT rows)
  message(FATAL_ERROR "no counters were read:\n${out}")
endif()
