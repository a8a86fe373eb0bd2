// SPDX-License-Identifier: BSD-2-Clause
//
// What a million rows cost the logs table: filling it, sorting, filtering, and memory. Each figure
// is from the request to the arrangement that the model shows; "main_ms" is the processor
// time of it that is spent on the main thread, at the most. The argument is how many distinct
// addresses the rows have; BENCH_ROWS gives another number of rows.
#include "app/logs/table/LogsArrayController.h"
#include "app/logs/table/LogsTableModel.h"

#include <QGuiApplication>

#include <cstdlib>
#include <ctime>
#include <deque>
#include <malloc.h>
#include <random>

#include <benchmark/benchmark.h>
#include <fmt/format.h>

namespace brindle {
namespace {

std::size_t rowCount() {
    const char* given = std::getenv("BENCH_ROWS");
    return given ? std::strtoull(given, nullptr, 10) : 1'000'000;
}

constexpr std::size_t kBatchRows = 4096;

/// Runs its tasks when told and keeps the time that takes.
class TimedQueue final : public platform::DispatchQueue {
  public:
    void async(platform::Task task) override { tasks_.push_back(std::move(task)); }
    void sync(platform::Task task) override { task(); }
    const std::string& label() const override { return label_; }
    void runAll() {
        for (; !tasks_.empty(); tasks_.pop_front())
            timed([this] { tasks_.front()(); });
    }
    template <typename Work>
    void timed(Work work) {
        const double begin = cpuSeconds();
        work();
        seconds_ += cpuSeconds() - begin;
    }
    double takeMilliseconds() { return std::exchange(seconds_, 0) * 1000; }

  private:
    /// Of this thread, so that other programs on the machine do not count.
    static double cpuSeconds() {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
    }

    std::deque<platform::Task> tasks_;
    double seconds_ = 0;
    std::string label_ = "timed";
};

class NoPictures final : public PictureSource {
  public:
    QIcon forPicture(const Picture&) override { return {}; }
};

std::string addressText(std::uint32_t number) {
    // A fifth of them IPv6.
    if (number % 5 == 0)
        return fmt::format("2001:db8:{:x}:{:x}::{:x}", number >> 16, number & 0xFFFF, number % 97);
    const std::uint32_t mixed = number * 2654435761u;
    return fmt::format("{}.{}.{}.{}", mixed >> 24, mixed >> 16 & 255, mixed >> 8 & 255,
                       mixed & 255);
}

/// A week of records, newest first.
std::vector<std::shared_ptr<const RecordBatch>> makeBatches(std::uint32_t addresses) {
    std::mt19937 random(1);
    const auto below = [&random](std::uint32_t bound) {
        return std::uniform_int_distribution<std::uint32_t>(0, bound - 1)(random);
    };
    std::vector<std::shared_ptr<const RecordBatch>> batches;
    RecordBatchBuilder builder;
    double epoch = 1700000000;
    const std::size_t rows = rowCount();
    for (std::size_t i = 0; i < rows; ++i) {
        epoch -= below(1200000) / 1e6;
        RecordRow row;
        row.epoch = epoch;
        row.uid = below(4) == 0 ? below(3) + 999 : 4294967295u;
        row.srcport = static_cast<std::uint16_t>(below(64000) + 1024);
        row.dstport = static_cast<std::uint16_t>(below(3) == 0 ? below(65536) : 443);
        row.rule = builder.intern(std::to_string(below(200)));
        row.action = builder.intern(below(3) == 0 ? "pass" : "block");
        row.direction = builder.intern(below(3) == 0 ? "out" : "in");
        row.interface = builder.intern(below(4) == 0 ? "em1" : "em0");
        row.srcip = builder.intern(addressText(below(addresses)));
        row.dstip = builder.intern(addressText(below(16)));
        row.proto = builder.intern(below(4) == 0 ? "udp" : "tcp");
        builder.add(row);
        if (builder.size() == kBatchRows || i + 1 == rows)
            batches.push_back(builder.finish());
    }
    return batches;
}

struct Table {
    LogTables tables{[](std::uint32_t uid) { return uid == 1000 ? "anna" : ""; }};
    std::shared_ptr<TimedQueue> main = std::make_shared<TimedQueue>();
    std::shared_ptr<TimedQueue> worker = std::make_shared<TimedQueue>();
    NoPictures pictures;
    LogsArrayController controller{main, worker, tables};
    LogsTableModel model{controller, pictures};

    Table() { tables.portNames = PortNames({{"443", "https"}, {"22", "ssh"}, {"53", "domain"}}); }
    void fill(const std::vector<std::shared_ptr<const RecordBatch>>& batches) {
        const AnswerId answer = controller.beginAnswer();
        for (const auto& batch : batches) {
            main->timed([&] { controller.append(answer, batch); });
            main->runAll();
        }
        controller.endAnswer(answer);
        main->runAll();
    }
    void settle() {
        worker->runAll();
        main->runAll();
    }
};

void build(benchmark::State& state) {
    const std::size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
    auto batches = makeBatches(static_cast<std::uint32_t>(state.range(0)));
    for (auto _ : state) {
        Table table;
        table.fill(batches);
        state.PauseTiming();
        state.counters["main_ms"] = table.main->takeMilliseconds();
        state.counters["bytes_a_row"] =
            static_cast<double>(mallinfo2().uordblks + mallinfo2().hblkhd - before) /
            static_cast<double>(rowCount());
        table.main->timed([&] { table.controller.clear(); });
        state.counters["clear_ms"] = table.main->takeMilliseconds();
        state.ResumeTiming();
    }
}

template <typename Change, typename Undo>
void arrangeAnew(benchmark::State& state, Change change, Undo undo) {
    Table table;
    table.fill(makeBatches(static_cast<std::uint32_t>(state.range(0))));
    double held = 0;
    for (auto _ : state) {
        table.main->takeMilliseconds();
        table.main->timed([&] { change(table.controller); });
        table.settle();
        held = std::max(held, table.main->takeMilliseconds());
        state.PauseTiming();
        state.counters["shown"] = static_cast<double>(table.controller.arrangedCount());
        undo(table.controller);
        table.settle();
        state.ResumeTiming();
    }
    state.counters["main_ms"] = held;
}

void sortBy(benchmark::State& state, LogColumn column) {
    arrangeAnew(
        state, [column](LogsArrayController& controller) { controller.setSort(SortOrder{column}); },
        [](LogsArrayController& controller) { controller.setSort(std::nullopt); });
}

void filterBy(benchmark::State& state, const char* text) {
    const auto filter =
        std::make_shared<const FilterExpression>(FilterExpression::parse(text).value());
    arrangeAnew(
        state, [filter](LogsArrayController& controller) { controller.setFilter(filter); },
        [](LogsArrayController& controller) { controller.setFilter(nullptr); });
}

constexpr std::int64_t kUsual = 50000;
constexpr std::int64_t kAllDistinct = 1000000000;

BENCHMARK(build)->Arg(kUsual)->Arg(kAllDistinct)->Unit(benchmark::kMillisecond)->Iterations(3);
#define TABLE_BENCHMARK(function, name, argument)                                                  \
    BENCHMARK_CAPTURE(function, name, argument)                                                    \
        ->Arg(kUsual)                                                                              \
        ->Arg(kAllDistinct)                                                                        \
        ->Unit(benchmark::kMillisecond)                                                            \
        ->Iterations(5)
TABLE_BENCHMARK(sortBy, date, LogColumn::date);
TABLE_BENCHMARK(sortBy, source, LogColumn::source);
TABLE_BENCHMARK(sortBy, sourcePort, LogColumn::sourcePort);
TABLE_BENCHMARK(sortBy, rule, LogColumn::rule);
TABLE_BENCHMARK(sortBy, user, LogColumn::user);
TABLE_BENCHMARK(filterBy, word, "anna");
TABLE_BENCHMARK(filterBy, commonWord, "https");
TABLE_BENCHMARK(filterBy, digits, "77");
TABLE_BENCHMARK(filterBy, date, "\"2023/11/10 12:0\"");
TABLE_BENCHMARK(filterBy, block, "src:10.0.0.0/8");
TABLE_BENCHMARK(filterBy, block6, "src:2001:db8::/40");
TABLE_BENCHMARK(filterBy, three, "blocked -src:10.0.0.0/8 dport:1000-2000");

} // namespace
} // namespace brindle

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QGuiApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
