# The tools beside the converter. They are built on Debian's CLI11 and nlohmann-json, linked like the converter and
# installed beside it.
find_package(CLI11 REQUIRED)
find_package(nlohmann_json REQUIRED)

# add_tool(NAME LIBRARY...): the program NAME, whose main function is in NAME.cpp.
function(add_tool name)
  add_executable(${name} ${name}.cpp)
  target_link_libraries(${name} PRIVATE ${ARGN} CLI11::CLI11)
  target_compile_definitions(${name} PRIVATE KIM2KMG_VERSION="${PROJECT_VERSION}")
  if(KIM2KMG_STATIC)
    target_link_options(${name} PRIVATE -static-pie -s)
  endif()
  install(TARGETS ${name} DESTINATION ${KIM2KMG_PLATFORM_DIR})
endfunction()
