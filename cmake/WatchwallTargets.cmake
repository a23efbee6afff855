# The few functions by which every folder declares what it builds. Sources are found by name, so adding a file
# needs no edit here or there; the vector step that ends a file's name sets that file's compiler option.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
find_package(Threads REQUIRED GLOBAL)  # also for a project that adds this one and links a library of it

if(PROJECT_IS_TOP_LEVEL)
  set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
  set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
  if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
  endif()
endif()

add_library(watchwall_options INTERFACE)
target_compile_options(watchwall_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                                   $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
                                                   $<$<BOOL:${PROJECT_IS_TOP_LEVEL}>:-Werror>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 warns of overlapping copies inside its own std::string concatenation (GCC bug 105651).
  target_compile_options(watchwall_options INTERFACE -Wno-restrict)
endif()
if(WATCHWALL_SANITIZE STREQUAL "address")
  set(_sanitize -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
elseif(WATCHWALL_SANITIZE STREQUAL "thread")
  set(_sanitize -fsanitize=thread -fno-omit-frame-pointer)
elseif(NOT WATCHWALL_SANITIZE STREQUAL "")
  message(FATAL_ERROR "WATCHWALL_SANITIZE is '${WATCHWALL_SANITIZE}'; it takes address, thread or nothing")
endif()
if(_sanitize)
  string(TOUPPER "CMAKE_CXX_FLAGS_${CMAKE_BUILD_TYPE}" _flags)
  if("${CMAKE_CXX_FLAGS} ${${_flags}}" MATCHES "-DNDEBUG")
    message(FATAL_ERROR "A build with sanitizers keeps its asserts: configure it anew by its preset "
                        "(cmake --preset), or take -DNDEBUG out of ${_flags}")
  endif()
  target_compile_options(watchwall_options INTERFACE ${_sanitize} -g)
  target_link_options(watchwall_options INTERFACE ${_sanitize})
  # The sanitizers' extra branches make GCC see uninitialised reads inside std::regex (GCC bug 105562); the plain build
  # keeps the warning.
  target_compile_options(watchwall_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()
if(WATCHWALL_HARDEN)
  target_compile_options(watchwall_options INTERFACE -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  target_link_options(watchwall_options INTERFACE -Wl,-z,relro -Wl,-z,now)
endif()
if(WATCHWALL_BUILD_FUZZ)
  set(_fuzz -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all)
  target_compile_options(watchwall_options INTERFACE ${_fuzz} -g)
  target_link_options(watchwall_options INTERFACE -fsanitize=address,undefined)
endif()

# Gives the files whose names end in a vector step the option of that step, and no others.
function(watchwall_vector_options)
  foreach(file IN LISTS ARGN)
    if(NOT CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
      continue()
    endif()
    if(file MATCHES "_ssse3\\.cpp$")
      set_source_files_properties("${file}" PROPERTIES COMPILE_OPTIONS -mssse3)
    elseif(file MATCHES "_avx2\\.cpp$")
      set_source_files_properties("${file}" PROPERTIES COMPILE_OPTIONS -mavx2)
    elseif(file MATCHES "_bmi2\\.cpp$")
      set_source_files_properties("${file}" PROPERTIES COMPILE_OPTIONS "-mavx2;-mbmi;-mbmi2;-mlzcnt")
    endif()
  endforeach()
endfunction()

# The files of this folder, and of the sub-folders that follow, whose names match the pattern.
function(_watchwall_glob variable pattern)
  set(globs "${CMAKE_CURRENT_SOURCE_DIR}/${pattern}")
  foreach(room IN LISTS ARGN)
    list(APPEND globs "${CMAKE_CURRENT_SOURCE_DIR}/${room}/${pattern}")
  endforeach()
  file(GLOB files CONFIGURE_DEPENDS ${globs})
  set(${variable} ${files} PARENT_SCOPE)
endfunction()

# The real name of a library of ours behind its short one; what is none of ours stays as it is.
function(_watchwall_real_names variable)
  set(names "")
  foreach(name IN LISTS ARGN)
    if(TARGET watchwall_${name})
      set(name watchwall_${name})
    endif()
    list(APPEND names "${name}")
  endforeach()
  set(${variable} ${names} PARENT_SCOPE)
endfunction()

# watchwall_library(NAME [ROOMS ...] [LINKS ...] [PRIVATE_LINKS ...]): a static library of all *.cpp in this folder and in
# the sub-folders named as ROOMS: the target watchwall_NAME, so that it meets no target of a project that adds this one,
# with the alias watchwall::NAME and, within this project, NAME. Headers are included from the root of the tree:
# "codec/decoder.h".
function(watchwall_library name)
  cmake_parse_arguments(arg "" "" "ROOMS;LINKS;PRIVATE_LINKS" ${ARGN})
  _watchwall_glob(sources "*.cpp" ${arg_ROOMS})
  _watchwall_glob(headers "*.h" ${arg_ROOMS})
  _watchwall_real_names(links ${arg_LINKS})
  set(target watchwall_${name})
  if(sources)
    watchwall_vector_options(${sources})
    add_library(${target} STATIC ${sources} ${headers})
    set(scope PUBLIC)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:watchwall_options> ${arg_PRIVATE_LINKS})
  else()
    add_library(${target} INTERFACE ${headers})
    set(scope INTERFACE)
  endif()
  target_include_directories(${target} ${scope} "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>"
                                                "$<INSTALL_INTERFACE:include/watchwall>")
  target_compile_features(${target} ${scope} cxx_std_20)
  target_link_libraries(${target} ${scope} ${links} Threads::Threads)
  add_library(watchwall::${name} ALIAS ${target})
  if(PROJECT_IS_TOP_LEVEL)
    add_library(${name} ALIAS ${target})
  endif()
endfunction()

# watchwall_tests(NAME [ROOMS ...] [LINKS ...]): the *_test.cpp of this folder, and of its ROOMS, as the programs NAME_tests and, for those named
# *_threads_test.cpp, NAME_threads_tests, whose tests carry the label "threads"; the thread sanitizer's build runs these alone.
# GUI makes the program bring up the application object, for tests that need the virtual display; OWN_DISPLAY does so on
# a virtual display of the program's own, MANAGED on one with a window manager as well. GUI and SCREEN, for tests that
# draw without the toolkit, have the display that they share to themselves, one test at a time. HELPERS are further
# sources, of other folders.
function(watchwall_tests name)
  cmake_parse_arguments(arg "GUI;OWN_DISPLAY;MANAGED;SCREEN" "" "ROOMS;LINKS;HELPERS" ${ARGN})
  _watchwall_glob(sources "*_test.cpp" ${arg_ROOMS})
  _watchwall_glob(helpers "*_support.cpp" ${arg_ROOMS})
  list(APPEND helpers ${arg_HELPERS})
  set(threads ${sources})
  list(FILTER threads INCLUDE REGEX "_threads_test\\.cpp$")
  list(FILTER sources EXCLUDE REGEX "_threads_test\\.cpp$")
  _watchwall_test_program(${name}_tests "" "${sources}" "${helpers}")
  _watchwall_test_program(${name}_threads_tests "threads" "${threads}" "${helpers}")
endfunction()

# watchwall_keep_libraries(PROGRAM): under the address sanitizer the program never unloads a library.
function(watchwall_keep_libraries program)
  if(WATCHWALL_SANITIZE STREQUAL "address")
    target_sources(${program} PRIVATE "${PROJECT_SOURCE_DIR}/tests/support/keep_libraries.cpp")
    target_link_options(${program} PRIVATE -Wl,--export-dynamic-symbol=dlclose)
  endif()
endfunction()

function(_watchwall_test_program program labels sources helpers)
  if(NOT sources)
    return()
  endif()
  add_executable(${program} ${sources} ${helpers})
  target_include_directories(${program} PRIVATE "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${program} PRIVATE watchwall_options ${arg_LINKS} test_places test_process_guard GTest::gtest GTest::gmock)
  if(arg_OWN_DISPLAY)
    target_link_libraries(${program} PRIVATE test_display_main)
  elseif(arg_MANAGED)
    target_link_libraries(${program} PRIVATE test_managed_main)
  elseif(arg_GUI)
    target_link_libraries(${program} PRIVATE test_gui_main)
  else()
    target_link_libraries(${program} PRIVATE GTest::gmock_main)
  endif()
  if(arg_GUI OR arg_OWN_DISPLAY OR arg_MANAGED OR arg_SCREEN)
    watchwall_keep_libraries(${program})
  endif()
  if(WATCHWALL_SANITIZE STREQUAL "thread" AND NOT labels STREQUAL "threads")
    set_target_properties(${program} PROPERTIES EXCLUDE_FROM_ALL TRUE)
    return()
  endif()
  include(GoogleTest)
  set(properties TIMEOUT 300)
  if(labels)
    list(APPEND properties LABELS "${labels}")  # an empty value would be lost on the way and shift the rest
  endif()
  if(arg_GUI OR arg_SCREEN)
    list(APPEND properties RESOURCE_LOCK display)  # what one test puts on the screen would cover another's
  endif()
  gtest_discover_tests(${program} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 NO_PRETTY_VALUES
                       PROPERTIES ${properties})
endfunction()

# watchwall_bench(NAME [LINKS ...]): the program NAME_bench from NAME_bench.cpp.
function(watchwall_bench name)
  cmake_parse_arguments(arg "" "" "LINKS" ${ARGN})
  add_executable(${name}_bench ${name}_bench.cpp)
  target_link_libraries(${name}_bench PRIVATE watchwall_options ${arg_LINKS} benchmark::benchmark)
endfunction()

# watchwall_fuzz(NAME [LINKS ...]): the libFuzzer program NAME_fuzz from NAME_fuzz.cpp; its seeds are the files of
# fuzz/corpus/NAME.
function(watchwall_fuzz name)
  cmake_parse_arguments(arg "" "" "LINKS" ${ARGN})
  add_executable(${name}_fuzz ${name}_fuzz.cpp)
  target_link_libraries(${name}_fuzz PRIVATE watchwall_options ${arg_LINKS})
  target_link_options(${name}_fuzz PRIVATE -fsanitize=fuzzer)
endfunction()
