// What storing and loading costs a task as the table grows: the figures of one benchmark should stay flat over its
// rows.

#include <benchmark/benchmark.h>

#include "BenchmarkHost.h"
#include "ZRDownloadKit.h"

namespace {

std::int64_t nextVid = 1;

void addTasks(std::int64_t count) {
  const auto manager = ZRDownloadManager::sharedManager();
  for (std::int64_t i = 0; i < count; ++i) {
    const auto task = ZRDownloadTask::taskWith73Params({{"vid", nextVid++}, {"version", 2}});
    if (manager->addTask(task) != ZRAddTaskResult::Added) throw std::runtime_error("not added");
  }
}

/// Time of one `addTask` with that many rows in the table already; no slot is free.
void addTask(benchmark::State& state) {
  const BenchmarkHost host;
  ZRDownloadManager::sharedManager()->setup({{"max_concurrent_count", 0}});
  addTasks(state.range(0));
  for (auto _ : state) addTasks(1);
}

/// Time of one `setup` over that many rows; the counter is the time a row.
void setup(benchmark::State& state) {
  const BenchmarkHost host;
  ZRDownloadManager::sharedManager()->setup({{"max_concurrent_count", 0}});
  addTasks(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    ZRDownloadManager::shutdown();
    state.ResumeTiming();
    ZRDownloadManager::sharedManager()->setup({});
  }
  state.counters["time/row"] = benchmark::Counter(static_cast<double>(state.iterations() * state.range(0)),
                                                  benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

BENCHMARK(addTask)->ArgName("rows")->Arg(100)->Arg(1000)->Arg(10000)->Iterations(1000)->Unit(benchmark::kMicrosecond);
BENCHMARK(setup)->ArgName("rows")->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace
