// io_bench: doubles and chunks through a chunked file against bare stdio and Qt's data stream; blocks over a loopback
// connection against one-shot packing. Files lie in the working folder, where the page cache holds them.
#include <netinet/in.h>
#include <zlib.h>

#include <cstring>
#include <thread>
#include <vector>

#include "app/q7app.h"
#include "bench/ratios.hpp"
#include "core/q7objects.h"
#include "core/q7root.h"
#include "io/q7file.h"
#include "io/q7iff.h"
#include "io/q7socket.h"

namespace {

constexpr int kDoubles = 1 << 20;
constexpr char kFile[] = "q7bench.tmp";

template <class T>
uint64_t arg(T *pointer) {
  return reinterpret_cast<uint64_t>(pointer);
}
template <class T>
Q7TagItem *slot(T value) {
  return reinterpret_cast<Q7TagItem *>(value);
}
inline uint64_t put(Q7Object *obj, uint32_t method, const void *value) {
  return obj->dispatch(obj->cl, obj, method, 0, 0, slot(const_cast<void *>(value)));
}
inline uint64_t send(Q7Object *obj, uint32_t method) { return obj->dispatch(obj->cl, obj, method, 0, 0, nullptr); }

uint32_t id_of(const char *text) {
  uint32_t id;
  std::memcpy(&id, text, 4);
  return id;
}

Q7Object *open_iff(const char *mode) {
  static uint32_t id, form;
  id = id_of("Q7D8");
  form = id_of("scen");
  return Q7ObjectCreate(Q7C_IFF, Q7A_FILE_NAME, arg(kFile), Q7A_FILE_MODE, arg(mode), Q7A_IFF_ID, arg(&id),
                        Q7A_IFF_FORM, arg(&form), 0);
}

uint64_t swapped(double value) {
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return __builtin_bswap64(bits);
}

// ---- Doubles ----

void iff_write(benchmark::State &state) {
  for (auto _ : state) {
    Q7Object *iff = open_iff("w");
    for (int i = 0; i < kDoubles; ++i) {
      const double value = i * 0.5;
      put(iff, Q7M_FILE_WRITE_DOUBLE, &value);
    }
    Q7ObjectDelete(iff);
  }
}
BENCHMARK(iff_write)->Unit(benchmark::kMillisecond);

void iff_read(benchmark::State &state) {
  Q7Object *iff = open_iff("w");
  for (int i = 0; i < kDoubles; ++i) {
    const double value = i * 0.5;
    put(iff, Q7M_FILE_WRITE_DOUBLE, &value);
  }
  Q7ObjectDelete(iff);
  for (auto _ : state) {
    iff = open_iff("r");
    double sum = 0, value = 0;
    for (int i = 0; i < kDoubles; ++i) {
      put(iff, Q7M_FILE_READ_DOUBLE, &value);
      sum += value;
    }
    benchmark::DoNotOptimize(sum);
    Q7ObjectDelete(iff);
  }
}
BENCHMARK(iff_read)->Unit(benchmark::kMillisecond);

void stdio_write(benchmark::State &state) {
  for (auto _ : state) {
    FILE *file = std::fopen(kFile, "w");
    for (int i = 0; i < kDoubles; ++i) {
      const uint64_t bits = swapped(i * 0.5);
      fwrite_unlocked(&bits, 8, 1, file);
    }
    std::fclose(file);
  }
}
BENCHMARK(stdio_write)->Unit(benchmark::kMillisecond);

void stdio_read(benchmark::State &state) {
  FILE *file = std::fopen(kFile, "w");
  for (int i = 0; i < kDoubles; ++i) {
    const uint64_t bits = swapped(i * 0.5);
    fwrite_unlocked(&bits, 8, 1, file);
  }
  std::fclose(file);
  for (auto _ : state) {
    file = std::fopen(kFile, "r");
    double sum = 0;
    for (int i = 0; i < kDoubles; ++i) {
      uint64_t bits;
      if (fread_unlocked(&bits, 8, 1, file) != 1) return state.SkipWithError("short file");
      bits = __builtin_bswap64(bits);
      double value;
      std::memcpy(&value, &bits, sizeof value);
      sum += value;
    }
    benchmark::DoNotOptimize(sum);
    std::fclose(file);
  }
}
BENCHMARK(stdio_read)->Unit(benchmark::kMillisecond);

// ---- Chunks of eight bytes ----

void write_iff_chunks(int64_t count) {
  Q7Object *iff = open_iff("w");
  const uint64_t id = id_of("SMAL");
  for (int64_t i = 0; i < count; ++i) {
    const double value = 1;
    put(iff, Q7M_IFF_BEGIN_WRITE, reinterpret_cast<void *>(id));
    put(iff, Q7M_FILE_WRITE_DOUBLE, &value);
    send(iff, Q7M_IFF_END_WRITE);
  }
  Q7ObjectDelete(iff);
}

void iff_write_chunks(benchmark::State &state) {
  for (auto _ : state) write_iff_chunks(state.range(0));
}
BENCHMARK(iff_write_chunks)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

void iff_read_chunks(benchmark::State &state) {
  write_iff_chunks(state.range(0));
  for (auto _ : state) {
    Q7Object *iff = open_iff("r");
    uint32_t id;
    double value = 0;
    int64_t count = 0;
    while (put(iff, Q7M_IFF_BEGIN_READ, &id)) {
      put(iff, Q7M_FILE_READ_DOUBLE, &value);
      count += send(iff, Q7M_IFF_END_READ) != 0;
    }
    Q7ObjectDelete(iff);
    if (count != state.range(0)) return state.SkipWithError("chunks are missing");
  }
}
BENCHMARK(iff_read_chunks)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

void write_stdio_chunks(int64_t count) {
  FILE *file = std::fopen(kFile, "w");
  std::fwrite("Q7D8\0\0\0\0\0\0\0\0scen", 1, 16, file);
  for (int64_t i = 0; i < count; ++i) {
    const uint64_t none = 0, content = swapped(1);
    fwrite_unlocked("SMAL", 1, 4, file);
    fwrite_unlocked(&none, 8, 1, file);
    const off_t start = ftello(file);
    fwrite_unlocked(&content, 8, 1, file);
    const off_t end = ftello(file);
    const uint64_t size = __builtin_bswap64(static_cast<uint64_t>(end - start));
    fseeko(file, start - 8, SEEK_SET);
    fwrite_unlocked(&size, 8, 1, file);
    fseeko(file, end, SEEK_SET);
  }
  std::fclose(file);
}

void stdio_write_chunks(benchmark::State &state) {
  for (auto _ : state) write_stdio_chunks(state.range(0));
}
BENCHMARK(stdio_write_chunks)->Arg(100000)->Unit(benchmark::kMillisecond);

void stdio_read_chunks(benchmark::State &state) {
  write_stdio_chunks(state.range(0));
  for (auto _ : state) {
    FILE *file = std::fopen(kFile, "r");
    fseeko(file, 16, SEEK_SET);
    uint64_t size, content, sum = 0;
    char id[4];
    for (;;) {
      sum += static_cast<uint64_t>(ftello(file));
      if (fread_unlocked(id, 4, 1, file) != 1 || fread_unlocked(&size, 8, 1, file) != 1) break;
      const off_t start = ftello(file);
      if (fread_unlocked(&content, 8, 1, file) != 1) break;
      sum += content + (ftello(file) - start == static_cast<off_t>(__builtin_bswap64(size)));
    }
    benchmark::DoNotOptimize(sum);
    std::fclose(file);
  }
}
BENCHMARK(stdio_read_chunks)->Arg(100000)->Unit(benchmark::kMillisecond);

// ---- Blocks ----

// Coordinates as a model has them: doubles of limited precision.
std::vector<char> block() {
  std::vector<char> bytes(Q7SOCKET_BLOCK);
  uint32_t state = 1;
  for (size_t i = 0; i + 8 <= bytes.size(); i += 8) {
    state = state * 1664525 + 1013904223;
    const double value = (state >> 16) / 256.0;
    std::memcpy(&bytes[i], &value, 8);
  }
  return bytes;
}

void one_shot_zlib(benchmark::State &state) {
  const std::vector<char> content = block();
  std::vector<Bytef> packed(compressBound(content.size()));
  std::vector<Bytef> unpacked(content.size());
  for (auto _ : state) {
    uLongf size = packed.size();
    compress(packed.data(), &size, reinterpret_cast<const Bytef *>(content.data()), content.size());
    uLongf back = unpacked.size();
    uncompress(unpacked.data(), &back, packed.data(), size);
    benchmark::DoNotOptimize(back);
  }
}
BENCHMARK(one_shot_zlib)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();

// The time of both ends together, so that a machine with two cores does not hide one of them.
void loopback(benchmark::State &state) {
  Q7Object *server = Q7ObjectCreate(Q7C_FILE, Q7A_FILE_MODE, arg("s"), Q7A_FILE_HOST, arg("127.0.0.1"), 0);
  int32_t port = 0;
  Q7Get(server, Q7A_FILE_PORT, arg(&port), 0);
  Q7Object *client = Q7ObjectCreate(Q7C_FILE, Q7A_FILE_MODE, arg("c"), Q7A_FILE_HOST, arg("127.0.0.1"), Q7A_FILE_PORT,
                                    static_cast<uint64_t>(port), 0);
  if (!client || !send(server, Q7M_FILE_ACCEPT)) return state.SkipWithError("no loopback");
  const uint32_t offset = Q7ClassFind(Q7C_FILE)->ioffset;
  auto *to = reinterpret_cast<Q7Stream *>(reinterpret_cast<char *>(client) + offset);
  auto *from = reinterpret_cast<Q7Stream *>(reinterpret_cast<char *>(server) + offset);
  const std::vector<char> content = block();
  std::vector<char> received(content.size());
  for (auto _ : state) {
    std::thread writer([&] { q7_write(to, content.data(), content.size(), 1, nullptr); });
    const uint64_t read = q7_read(from, received.data(), received.size(), 1, nullptr);
    writer.join();
    if (!read) return state.SkipWithError("the connection was lost");
  }
  Q7ObjectDelete(client);
  Q7ObjectDelete(server);
}
BENCHMARK(loopback)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();

}  // namespace

int main(int argc, char **argv) {
  int32_t count = argc;
  Q7App *app = Q7AppCreate(&count, argv, Q7APP_Interactive, uint64_t{0}, 0);
  if (!app || !Q7RegisterIFFClass(app)) return 1;
  const std::vector<q7bench::Bar> bars = {
      {"doubles written, chunked file against bare stdio", "iff_write", "stdio_write", 1.5},
      {"doubles read, chunked file against bare stdio", "iff_read", "stdio_read", 1.5},
      {"doubles written, chunked file against QDataStream", "iff_write", "qdatastream_write", 1 / 1.3},
      {"doubles read, chunked file against QDataStream", "iff_read", "qdatastream_read", 1 / 1.3},
      {"100,000 chunks written against bare stdio", "iff_write_chunks/100000", "stdio_write_chunks/100000", 1.5},
      {"100,000 chunks read against bare stdio", "iff_read_chunks/100000", "stdio_read_chunks/100000", 1.5},
      {"a chunk written of 100,000 against one of 10,000", "iff_write_chunks/100000", "iff_write_chunks/10000", 1.3,
       10},
      {"a chunk read of 100,000 against one of 10,000", "iff_read_chunks/100000", "iff_read_chunks/10000", 1.3, 10},
      {"a block over loopback against one-shot zlib", "loopback", "one_shot_zlib", 1 / 0.9},
  };
  const int status = q7bench::run(argc, argv, bars);
#ifndef Q7_BENCH_QTCORE
  std::printf("        QDataStream is not installed: no comparison with it\n");
#endif
  std::remove(kFile);
  Q7AppDelete(app);
  return status;
}
