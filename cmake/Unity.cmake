# Compiles up to eight units of a target as one, so that what they all include is read once: a build from
# nothing takes less than half of the time so. The trees with sanitizers are built this way, and the
# ordinary one where ./run, ./test or ./package makes it; "cmake --preset default" builds each unit by
# itself, and so does "-D HDDTEST_UNITY=OFF" from then on. What a unit includes is checked by
# tests/includes_test.py in either. A change to one unit compiles all of its group. A target whose units
# have to stay apart has UNITY_BUILD OFF.

# The units of these targets, which are the folder's, get the number of their group.
function(hddtest_group_units folder)
  set(list ${CMAKE_BINARY_DIR}/generated/units.txt)
  file(WRITE ${list} "")
  foreach(target ${ARGN})
    get_target_property(units ${target} SOURCES)
    list(FILTER units INCLUDE REGEX "^[^$]*[.]cpp$")
    list(TRANSFORM units PREPEND ${folder}/ REGEX "^[^/]")
    # What the build writes is not there yet.
    list(FILTER units EXCLUDE REGEX "^${CMAKE_BINARY_DIR}/")
    file(APPEND ${list} "${target};${units}\n")
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
  endforeach()
  execute_process(COMMAND ${Python3_EXECUTABLE} -B ${CMAKE_SOURCE_DIR}/cmake/unity_groups.py 8
                  INPUT_FILE ${list} OUTPUT_VARIABLE grouped COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "[^\n]+" grouped "${grouped}")
  foreach(line ${grouped})
    string(REPLACE "=" ";" line ${line})
    list(POP_FRONT line unit group)
    set_source_files_properties(${unit} TARGET_DIRECTORY ${ARGV1} PROPERTIES UNITY_GROUP ${group})
  endforeach()
endfunction()

# Does so for all targets of these types in the folder and in those below. It is called when all are known.
function(hddtest_unite folder types)
  get_directory_property(folders DIRECTORY ${folder} SUBDIRECTORIES)
  foreach(one ${folders})
    hddtest_unite(${one} "${types}")
  endforeach()
  get_directory_property(targets DIRECTORY ${folder} BUILDSYSTEM_TARGETS)
  set(compiled)
  foreach(target ${targets})
    get_target_property(type ${target} TYPE)
    get_target_property(unity ${target} UNITY_BUILD)
    if(type MATCHES "${types}" AND NOT unity STREQUAL OFF)
      list(APPEND compiled ${target})
    endif()
  endforeach()
  if(compiled)
    hddtest_group_units(${folder} ${compiled})
  endif()
endfunction()
