# What the benchmark of files and sockets needs beside the library: zlib for the one-shot peer, Qt's data stream where it
# is installed. Qt wants its users to be built with -fPIC, which CMake gives to libraries only.
find_package(ZLIB REQUIRED)
target_link_libraries(io_bench PRIVATE ZLIB::ZLIB)
if(Q7_QTCORE_FOUND)
  add_library(q7_bench_qdatastream OBJECT peers/qdatastream.cpp)
  target_compile_options(q7_bench_qdatastream PRIVATE -fPIC)
  target_link_libraries(q7_bench_qdatastream PUBLIC q7_flags benchmark::benchmark PkgConfig::Q7_QTCORE)
  target_link_libraries(io_bench PRIVATE q7_bench_qdatastream)
  target_compile_definitions(io_bench PRIVATE Q7_BENCH_QTCORE=1)
endif()
