# The tools beside the converter. They are built on Debian's CLI11 and nlohmann-json, linked like the converter and
# installed beside it.
include(${CMAKE_CURRENT_LIST_DIR}/header_libraries.cmake)

# add_tool(NAME LIBRARY...): the program NAME, whose main function is in NAME.cpp.
function(add_tool name)
  add_executable(${name} ${name}.cpp)
  target_link_libraries(${name} PRIVATE ${ARGN} CLI11::CLI11)
  target_compile_definitions(${name} PRIVATE KIM2KMG_VERSION="${PROJECT_VERSION}")
  target_link_options(${name} PRIVATE ${KIM2KMG_STATIC_OPTIONS})
  install(TARGETS ${name} DESTINATION ${KIM2KMG_PLATFORM_DIR})
endfunction()
