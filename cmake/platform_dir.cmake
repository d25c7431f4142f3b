# Where programs are installed below the prefix: an asset tree wants them at BASE/bin/PLATFORM/.
set(KIM2KMG_PLATFORM_DIR "bin/linux_${CMAKE_SYSTEM_PROCESSOR}")
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  set(KIM2KMG_PLATFORM_DIR "bin/linux_x64")
endif()
