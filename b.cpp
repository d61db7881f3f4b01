#include <benchmark/benchmark.h>
#include <cstdint>
struct I{uint32_t tag;uint32_t pad;uint64_t data;};
extern "C" {uint64_t v4(const I*,uint32_t,uint64_t);uint64_t v8(const I*,uint32_t,uint64_t);uint64_t vb(const I*,uint32_t,uint64_t);uint64_t vm(const I*,uint32_t,uint64_t);
uint64_t v0(const I*,uint32_t,uint64_t);}
template<auto F>void t(benchmark::State&s){I list[9]={};for(uint32_t i=0;i<8;++i)list[i]={101500+i,0,i};
for(auto _:s){benchmark::DoNotOptimize(list);benchmark::DoNotOptimize(F(list,101507,0));}}
BENCHMARK(t<v0>);
BENCHMARK(t<v4>);BENCHMARK(t<v8>);BENCHMARK(t<vb>);BENCHMARK(t<vm>);
BENCHMARK_MAIN();
