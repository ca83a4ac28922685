// Where pictures are worked on, few at a time.

#pragma once

#include <condition_variable>
#include <mutex>

namespace Service {

/// Bounds the memory and the processors that pictures take. Threads: any.
class Workbench {
public:
    /// A place at the bench, while it lives.
    class Seat {
    public:
        explicit Seat(Workbench& bench) : m_bench(bench) {}
        Seat(const Seat&) = delete;
        Seat& operator=(const Seat&) = delete;
        ~Seat() { m_bench.Leave(); }

    private:
        Workbench& m_bench;
    };

    /// Waits for a place. Throws Rejection if that takes half a minute, or the bench is closed.
    [[nodiscard]] Seat Enter();

    /// Lets nobody in any more.
    void Close();

private:
    void Leave() noexcept;

    static constexpr int SeatCount = 2;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_free = SeatCount;
    bool m_isClosed = false;
};

}  // namespace Service
