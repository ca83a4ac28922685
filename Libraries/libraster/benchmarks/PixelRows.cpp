#include "PixelRows.h"

#include <sched.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace PixelPeers {

namespace {

constexpr std::size_t CacheLine = 64;

/// A row with its pictures, which are made when a case first runs and kept.
class Stage {
public:
    explicit Stage(Row row) : m_row(std::move(row)) {}

    const Row& GetRow() const noexcept { return m_row; }

    const Task& GetTask(Size size) {
        std::unique_ptr<Task>& task = m_tasks[size.width];
        if (!task) {
            const Size target = m_row.target.width != 0 ? m_row.target : size;
            task.reset(new Task{size, target, m_row.makeSource(size),
                                Bytes(target.GetPixelCount() * m_row.destinationPixelSize)});
        }
        return *task;
    }

    /// Repeats a run over an overwritten destination, and reports its difference.
    void Check(const Task& task, const Run& run, benchmark::UserCounters& counters) const {
        std::memset(task.destination.As<std::byte>(), 0x5A, task.destination.GetSize());
        run.work();
        if (run.deliver) {
            run.deliver();
        }
        if (m_row.getDifference) {
            counters["difference"] = m_row.getDifference(task);
            counters["tolerance"] = m_row.tolerance;
        }
    }

private:
    Row m_row;
    std::map<int, std::unique_ptr<Task>> m_tasks;
};

void AddCase(const std::shared_ptr<Stage>& stage, const std::string& contenderName,
             const Contender& contender, Size size) {
    const std::string name = stage->GetRow().name + "/" + contenderName + "/" +
                             std::to_string(size.width) + "x" + std::to_string(size.height) +
                             "/threads:" + std::to_string(GetThreadCount());
    // Repetitions share the report of the first.
    const auto counters = std::make_shared<benchmark::UserCounters>();
    const auto measure = [=](benchmark::State& state) {
        const Task& task = stage->GetTask(size);
        const Run run = contender(task);
        if (counters->empty()) {
            stage->Check(task, run, *counters);
        }
        run.work();  // warms caches, page tables and compilers
        for (auto _ : state) {
            run.work();
            benchmark::ClobberMemory();
        }
        state.counters.insert(counters->begin(), counters->end());
        state.SetBytesProcessed(
            state.iterations() *
            static_cast<std::int64_t>(task.source.GetSize() + task.destination.GetSize()));
    };
    benchmark::RegisterBenchmark(name.c_str(), measure)
        ->UseRealTime()
        ->MeasureProcessCPUTime()
        ->Unit(benchmark::kMillisecond);
}

}  // namespace

Bytes::Bytes(std::size_t size) : m_size(size), m_bytes(nullptr, std::free) {
    const std::size_t capacity = (size / CacheLine + 3) * CacheLine;
    m_bytes.reset(static_cast<std::byte*>(std::aligned_alloc(CacheLine, capacity)));
    if (!m_bytes) {
        throw std::bad_alloc();
    }
    std::memset(m_bytes.get(), 1, capacity);
}

bool AddRow(Row row, const Contender& ours) {
    static const std::vector<Peer> peers = GetPeers();
    const auto stage = std::make_shared<Stage>(std::move(row));
    for (const Size size : stage->GetRow().sizes) {
        if (ours) {
            AddCase(stage, "ours", ours, size);
        }
        for (const Peer& peer : peers) {
            if (peer.row == stage->GetRow().name) {
                AddCase(stage, peer.name, peer.contender, size);
            }
        }
    }
    return true;
}

Row GetRow(const std::string& name) {
    for (const auto makeRows : {MakeConversionRows, MakeRenderingRows, MakeColourRows}) {
        for (Row& row : makeRows()) {
            if (row.name == name) {
                return std::move(row);
            }
        }
    }
    throw std::invalid_argument("there is no row " + name);
}

int GetThreadCount() {
    static const int Count = [] {
        cpu_set_t processors;
        const bool isKnown = sched_getaffinity(0, sizeof processors, &processors) == 0;
        return isKnown ? CPU_COUNT(&processors) : 1;
    }();
    return Count;
}

void Split(std::size_t count, const std::function<void(std::size_t, std::size_t)>& work) {
    constexpr std::size_t Grain = 128;
    const auto threadCount = static_cast<std::size_t>(GetThreadCount());
    const std::size_t part = (count / threadCount / Grain + 1) * Grain;
    std::vector<std::jthread> threads;
    for (std::size_t first = part; first < count; first += part) {
        threads.emplace_back(work, first, std::min(count, first + part));
    }
    work(0, std::min(count, part));
}

}  // namespace PixelPeers
