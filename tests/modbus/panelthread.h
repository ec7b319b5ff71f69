// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/misbehavingpanel.h"
#include "tests/modbus/seriallink.h"
#include "tests/support/bytes.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <stop_token>
#include <thread>
#include <utility>

/// A panel on a pseudo-terminal, served by a thread of the test itself, which keeps the times of all that it
/// hands over. So a test can distinguish a program that loses bytes from a machine that stood still.
class PanelThread
{
public:
    using Clock = std::chrono::steady_clock;
    /// What comes as the reply to a request, and when.
    using Answer = std::function<simulator::Schedule(simulator::ByteView request)>;

    /// The times of one exchange. Each piece of a reply counts from before it is handed over, and until it
    /// has been: no reader can have seen shorter pauses than the first, or longer ones than the second.
    struct Exchange
    {
        Clock::time_point requestSeen;  ///< its first byte
        Clock::time_point replyBegins;  ///< before the first piece
        Clock::time_point lastPiece;    ///< before the last piece
        Clock::time_point replyEnds;    ///< behind the last piece
        Clock::duration longestPause{}; ///< from before a piece to behind the next one
        int pieces = 0;                 ///< handed over so far
    };

    /// `answers` is called on the panel's thread.
    explicit PanelThread(Answer answers) : answer(std::move(answers))
    {
        thread = std::jthread([this](const std::stop_token &stop) { serve(stop); });
    }
    QString path() const { return pty.path(); }
    /// The exchange under way, or the last one.
    Exchange exchange()
    {
        const std::lock_guard lock(mutex);
        return current;
    }
    /// The exchange number `count`, counted from 1, when it has ended; it is the last one so far. After half
    /// a minute it comes as it stands.
    Exchange waitForExchange(int count)
    {
        std::unique_lock lock(mutex);
        ended.wait_for(lock, std::chrono::seconds(30), [&] { return exchanges >= count; });
        return current;
    }

private:
    static constexpr int PollMs = 20;

    void serve(const std::stop_token &stop)
    {
        simulator::Bytes pending;
        Clock::time_point seen;
        while (!stop.stop_requested()) {
            if (!pty.waitForBytes(PollMs))
                continue;
            if (pending.empty())
                seen = Clock::now();
            const QByteArray bytes = pty.take();
            const auto view = byteView(bytes);
            pending.insert(pending.end(), view.begin(), view.end());
            const auto length = simulator::requestLength(pending);
            if (!length || pending.size() < *length)
                continue;
            begin(seen);
            deliver(answer(pending), stop);
            pending.clear();
        }
    }
    void begin(Clock::time_point seen)
    {
        const std::lock_guard lock(mutex);
        current = {};
        current.requestSeen = seen;
    }
    void deliver(const simulator::Schedule &schedule, const std::stop_token &stop)
    {
        Clock::time_point when = Clock::now();
        for (const simulator::Burst &burst : schedule.bursts) {
            when += std::chrono::microseconds(burst.delayBeforeUs);
            std::this_thread::sleep_until(when);
            if (stop.stop_requested())
                return;
            const Clock::time_point before = Clock::now();
            pty.send(byteArray(burst.bytes));
            note(before, Clock::now());
        }
        const std::lock_guard lock(mutex);
        ++exchanges;
        ended.notify_all();
    }
    void note(Clock::time_point before, Clock::time_point behind)
    {
        const std::lock_guard lock(mutex);
        if (current.pieces++ == 0)
            current.replyBegins = before;
        else
            current.longestPause = std::max(current.longestPause, behind - current.lastPiece);
        current.lastPiece = before;
        current.replyEnds = behind;
    }

    Pty pty;
    Answer answer;
    std::mutex mutex;
    std::condition_variable ended;
    Exchange current;
    int exchanges = 0;
    std::jthread thread; // last: it ends before what it uses
};

/// Whether the machine held the panel up so long that a reader which waits `gapMs` for each next byte had to
/// take the reply for ended.
inline bool stoodStill(const PanelThread::Exchange &exchange, int gapMs)
{
    using std::chrono::milliseconds;
    return exchange.longestPause >= milliseconds(gapMs) ||
           exchange.replyEnds - exchange.replyBegins >=
               milliseconds(Modbus::LongestReplyMs + Modbus::GapsPerReply * gapMs);
}
