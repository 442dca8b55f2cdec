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

# morvel_link(NAME deps...) links mv_NAME with the subsystems it uses, those
# that exist. Subsystems may depend on each other in a cycle.
function(morvel_link name)
  if(NOT TARGET mv_${name})
    return()
  endif()
  foreach(dep IN LISTS ARGN)
    if(TARGET mv_${dep})
      target_link_libraries(mv_${name} PUBLIC mv_${dep})
    endif()
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
