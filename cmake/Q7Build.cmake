# How every target of the project is built: one place for language level, warnings, sanitizers, output folders and the
# exported names. A room adds itself with q7_room(<name>); everything else follows from the files that lie in it.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

find_program(Q7_CCACHE ccache)
if(Q7_CCACHE)
  # Checkouts in other folders share what was compiled.
  set(launcher "${CMAKE_COMMAND}" -E env "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" CCACHE_NOHASHDIR=1 "${Q7_CCACHE}")
  set(CMAKE_C_COMPILER_LAUNCHER ${launcher})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
endif()

set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g")
set(CMAKE_C_FLAGS_RELWITHDEBINFO "-O2 -g")
if(Q7_SANITIZE)
  set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O1 -g1")
  set(CMAKE_C_FLAGS_RELWITHDEBINFO "-O1 -g1")
endif()

# The programs whose tests also run under the thread sanitizer.
add_custom_target(threads_tests)

add_library(q7_flags INTERFACE)
target_compile_options(q7_flags INTERFACE -Wall -Wextra -Werror $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-format-truncation> -ffp-contract=off)
target_include_directories(q7_flags INTERFACE "${PROJECT_SOURCE_DIR}")
if(Q7_SANITIZE)
  target_compile_options(q7_flags INTERFACE -fsanitize=${Q7_SANITIZE} -fno-omit-frame-pointer)
  target_link_options(q7_flags INTERFACE -fsanitize=${Q7_SANITIZE})
  if(Q7_SANITIZE MATCHES "undefined")
    target_compile_options(q7_flags INTERFACE -fno-sanitize-recover=undefined)
  endif()
endif()
if(Q7_COVERAGE)
  target_compile_options(q7_flags INTERFACE --coverage)
  target_link_options(q7_flags INTERFACE --coverage)
endif()
# Code that the library and the platform layer are made of: nothing leaves unless it says Q7_API, and nothing throws.
add_library(q7_library_flags INTERFACE)
target_link_libraries(q7_library_flags INTERFACE q7_flags)
# Exported functions call each other directly: nobody may put another function in the place of one of them, so the calls
# need no table, and short ones are inlined.
target_compile_options(
  q7_library_flags INTERFACE -fvisibility=hidden -fno-semantic-interposition -fno-plt $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>
                             $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>)

# Processors whose decoded-instruction cache drops a line in which a jump crosses or ends a block of 32 bytes run short
# ways, such as the walk over a tag list or a notice to one dependent, at half their speed unless the assembler keeps
# jumps inside the blocks.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-Wa,-mbranches-within-32B-boundaries Q7_HAVE_JUMPS_WITHIN_BLOCKS)
if(Q7_HAVE_JUMPS_WITHIN_BLOCKS)
  target_compile_options(q7_library_flags INTERFACE -Wa,-mbranches-within-32B-boundaries)
endif()

# q7_room(<name>): the room's *.cpp become part of libq7common.so, its *.h are installed, its exports.txt lists the names
# that leave the library.
function(q7_room name)
  file(GLOB sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.cpp")
  file(GLOB headers CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.h")
  if(sources)
    add_library(q7_${name} OBJECT ${sources})
    target_link_libraries(q7_${name} PRIVATE q7_library_flags)
    set_property(GLOBAL APPEND PROPERTY Q7_ROOM_LIBRARIES q7_${name})
  endif()
  if(headers)
    install(FILES ${headers} DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/q7/${name}")
  endif()
  if(EXISTS "${CMAKE_CURRENT_SOURCE_DIR}/exports.txt")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/exports.txt")
    set_property(GLOBAL APPEND PROPERTY Q7_EXPORT_LISTS "${CMAKE_CURRENT_SOURCE_DIR}/exports.txt")
  endif()
endfunction()

# The shared library out of all rooms. The platform layer's functions stay undefined in it on purpose: the process that
# loads it brings a platform layer of its own choice.
function(q7_common_library)
  get_property(rooms GLOBAL PROPERTY Q7_ROOM_LIBRARIES)
  get_property(lists GLOBAL PROPERTY Q7_EXPORT_LISTS)
  set(names "")
  foreach(list IN LISTS lists)
    file(STRINGS "${list}" lines REGEX "^[A-Za-z_]")
    list(APPEND names ${lines})
  endforeach()
  list(SORT names)
  list(REMOVE_DUPLICATES names)
  list(JOIN names ";\n    " joined)
  set(script "${PROJECT_BINARY_DIR}/q7common.map")
  file(CONFIGURE OUTPUT "${script}" CONTENT "{\n  global:\n    ${joined};\n  local: *;\n};\n")
  list(JOIN names "\n" joined)
  file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/exports.txt" CONTENT "${joined}\n")

  add_library(q7common SHARED)
  foreach(room IN LISTS rooms)
    target_sources(q7common PRIVATE $<TARGET_OBJECTS:${room}>)
  endforeach()
  set_target_properties(q7common PROPERTIES LINKER_LANGUAGE CXX VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
                                            LINK_DEPENDS "${script}")
  find_package(ZLIB REQUIRED)
  find_package(CURL REQUIRED)
  target_link_libraries(q7common PRIVATE q7_flags ZLIB::ZLIB CURL::libcurl m)
  target_link_options(q7common PRIVATE "-Wl,--version-script=${script}" -Wl,--as-needed -Wl,-Bsymbolic-functions)
  target_include_directories(q7common INTERFACE "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>"
                                                "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/q7>")
  install(TARGETS q7common LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
endfunction()

# q7_program(<name> SOURCES ... [LIBRARIES ...]): a host program on the default platform layer.
function(q7_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES")
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE q7_flags q7common q7platform ${arg_LIBRARIES})
  target_link_options(${name} PRIVATE -Wl,--no-as-needed)
endfunction()

# q7_test(<name> [FAKE_PLATFORM] [LABELS ...] [SOURCES ...] [LIBRARIES ...] [TIMEOUT seconds]): a GoogleTest program; each
# test case runs in a process of its own. FAKE_PLATFORM links the recording platform layer of tests/support instead of the
# default one. Label "threads" marks what also runs under the thread sanitizer.
function(q7_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "FAKE_PLATFORM" "TIMEOUT" "LABELS;SOURCES;LIBRARIES")
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE q7_flags q7common q7_test_support GTest::gmock ${arg_LIBRARIES})
  target_link_options(${name} PRIVATE -Wl,--no-as-needed)
  set_target_properties(${name} PROPERTIES ENABLE_EXPORTS ON)
  # What is tested is built as users get it; the tests around it need no optimiser, and their builds are most of the time.
  target_compile_options(${name} PRIVATE -O0 -g1)
  if("threads" IN_LIST arg_LABELS)
    add_dependencies(threads_tests ${name})
  endif()
  if(arg_FAKE_PLATFORM)
    target_link_libraries(${name} PRIVATE q7_fake_platform)
  else()
    target_link_libraries(${name} PRIVATE q7platform)
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}")
endfunction()
