# morvel_read_floors() reads the floors of the subsystems from the table in
# docs/ARCHITECTURE.md (rows "| n | `a/`, `b/` | ..."). It sets
# MORVEL_SUBSYSTEMS to every folder below the top floor, whose folders (the
# window shell) make the executable rather than a library, and
# MORVEL_FLOOR_<folder> to each folder's floor.
function(morvel_read_floors)
  set(table ${CMAKE_SOURCE_DIR}/docs/ARCHITECTURE.md)
  set_property(DIRECTORY ${CMAKE_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${table})
  file(STRINGS ${table} rows REGEX "^\\| *[0-9]+ *\\| *`[a-z_]+/`")
  set(top 0)
  set(all "")
  foreach(row IN LISTS rows)
    string(REGEX MATCH "^\\| *([0-9]+) *\\|([^|]*)\\|" cells "${row}")
    set(floor ${CMAKE_MATCH_1})
    string(REGEX MATCHALL "`[a-z_]+/`" folders "${CMAKE_MATCH_2}")
    foreach(folder IN LISTS folders)
      string(REGEX REPLACE "`([a-z_]+)/`" "\\1" folder "${folder}")
      set(MORVEL_FLOOR_${folder} ${floor} PARENT_SCOPE)
      set(floor_of_${folder} ${floor})
      list(APPEND all ${folder})
    endforeach()
    if(floor GREATER top)
      set(top ${floor})
    endif()
  endforeach()
  if(NOT all)
    message(FATAL_ERROR "${table}: no table of floors found")
  endif()
  set(subsystems "")
  foreach(folder IN LISTS all)
    if(floor_of_${folder} LESS top)
      list(APPEND subsystems ${folder})
    endif()
  endforeach()
  set(MORVEL_SUBSYSTEMS ${subsystems} PARENT_SCOPE)
endfunction()

# morvel_subsystem(NAME) makes the static library mv_NAME from every source
# under src/NAME. A folder without sources makes nothing.
set(MORVEL_SUBSYSTEM_TARGETS "")

function(morvel_subsystem name)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS
       ${CMAKE_SOURCE_DIR}/src/${name}/*.cpp ${CMAKE_SOURCE_DIR}/src/${name}/*.h)
  if(NOT sources)
    return()
  endif()
  add_library(mv_${name} STATIC ${sources})
  target_include_directories(mv_${name} PUBLIC ${CMAKE_SOURCE_DIR}/src)
  set(MORVEL_SUBSYSTEM_TARGETS ${MORVEL_SUBSYSTEM_TARGETS} mv_${name} PARENT_SCOPE)
endfunction()

# morvel_link_floors() links each subsystem that exists with the subsystems of
# every lower floor, those that exist. Subsystems on one floor do not link
# with each other, and none links upwards, so the graph has no cycle.
function(morvel_link_floors)
  foreach(name IN LISTS MORVEL_SUBSYSTEMS)
    if(NOT TARGET mv_${name})
      continue()
    endif()
    foreach(dep IN LISTS MORVEL_SUBSYSTEMS)
      if(TARGET mv_${dep} AND MORVEL_FLOOR_${dep} LESS MORVEL_FLOOR_${name})
        target_link_libraries(mv_${name} PUBLIC mv_${dep})
      endif()
    endforeach()
  endforeach()
endfunction()

# morvel_test(NAME) makes test_NAME from tests/NAME, linked with the support
# code of the tests and the whole core, and registers its cases with CTest.
function(morvel_test name)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS
       ${CMAKE_SOURCE_DIR}/tests/${name}/*.cpp ${CMAKE_SOURCE_DIR}/tests/${name}/*.h)
  # tests/NAME/tools/ holds programs built beside the tests, not test cases.
  list(FILTER sources EXCLUDE REGEX "/tests/[^/]+/tools/")
  if(NOT sources)
    return()
  endif()
  add_executable(test_${name} ${sources})
  target_link_libraries(test_${name} PRIVATE mv_testsupport ${ARGN})
  gtest_discover_tests(test_${name} DISCOVERY_TIMEOUT 60
                       PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen" TIMEOUT 300)
endfunction()
