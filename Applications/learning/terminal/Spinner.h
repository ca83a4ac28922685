// Signs of life while a command works.

#pragma once

#include "terminal/StatusLine.h"

#include <chrono>
#include <condition_variable>
#include <iosfwd>
#include <list>
#include <mutex>
#include <string>
#include <thread>

namespace LearningApp {

/// Shows on a terminal what the program is about, once nothing else has changed there for half a
/// second.
///
/// Threads: any.
class Spinner {
public:
    /// `terminal` may be null: nothing is shown.
    explicit Spinner(std::ostream* terminal);
    Spinner(const Spinner&) = delete;
    Spinner& operator=(const Spinner&) = delete;
    /// Wipes what is shown.
    ~Spinner();

    /// Puts `subject`, such as "[2/5] cat.jpg", before what is shown from now on.
    void SetSubject(std::string subject);

    /// Work that goes on for as long as this object lives. Of several the last to begin is shown.
    class Step {
    public:
        Step(Spinner& spinner, const char* name);
        Step(const Step&) = delete;
        Step& operator=(const Step&) = delete;
        ~Step();

    private:
        Spinner& m_spinner;
        std::list<const char*>::iterator m_place;
    };

    /// For as long as this object lives the terminal is another's, and nothing is shown.
    class Pause {
    public:
        explicit Pause(Spinner& spinner);
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;
        ~Pause();

    private:
        Spinner& m_spinner;
    };

private:
    using Clock = std::chrono::steady_clock;

    void Turn();
    void Draw(int turn) const;

    const StatusLine m_line;
    std::mutex m_mutex;
    std::condition_variable m_ending;
    bool m_isEnding = false;
    int m_pauses = 0;
    std::string m_subject;
    std::list<const char*> m_steps;
    Clock::time_point m_begin = Clock::now();
    std::thread m_thread;
};

}  // namespace LearningApp
