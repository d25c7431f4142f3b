# The system that the programs are for: whose files are compiled (those named after another one are passed over), and
# where programs are installed below the prefix: an asset tree wants them at BASE/bin/PLATFORM/.
set(KIM2KMG_SYSTEM posix)
set(system_name linux)
if(WIN32)
  set(KIM2KMG_SYSTEM windows)
  set(system_name win)
endif()
set(KIM2KMG_PLATFORM_DIR "bin/${system_name}_${CMAKE_SYSTEM_PROCESSOR}")
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  set(KIM2KMG_PLATFORM_DIR "bin/${system_name}_x64")
endif()

# The linker's options for programs that need nothing beside themselves, when KIM2KMG_STATIC asks for such.
set(KIM2KMG_STATIC_OPTIONS)
if(KIM2KMG_STATIC)
  set(KIM2KMG_STATIC_OPTIONS -s -static-pie)
  if(WIN32)
    # Nor does a program tell when it was made: two builds give the same bytes.
    set(KIM2KMG_STATIC_OPTIONS -s -static -Wl,--no-insert-timestamp)
  endif()
endif()
