#pragma once

#include <QObject>
#include <QTimer>

#include <chrono>
#include <coroutine>

namespace tw {

// A one-shot awaitable that resumes on the first of several signals or its own deadline, with a
// reason code telling which. Live it in the coroutine frame: its connections die with the frame,
// and the resumption is queued, so code after the await never runs inside a signal emission
// (QCoro 0.8 resumes inside QNetworkReply::finished, which made deleting the reply crash).
class Wakeup
{
public:
    static constexpr int Timeout = -1;

    explicit Wakeup(std::chrono::milliseconds timeout);
    Wakeup(const Wakeup &) = delete;
    Wakeup &operator=(const Wakeup &) = delete;

    // The first call wins; later calls and signals are ignored.
    void wake(int reason);

    template<typename Sender, typename Signal>
    Wakeup &on(const Sender *sender, Signal signal, int reason)
    {
        QObject::connect(sender, signal, &m_context, [this, reason] { wake(reason); });
        return *this;
    }

    bool hasFired() const { return m_fired; }

    // g++ 12 copies the awaiter QCoro asks for, so hand out a small copyable one.
    auto operator co_await() &noexcept
    {
        struct Awaiter
        {
            Wakeup *wakeup;
            bool await_ready() const noexcept { return wakeup->m_fired; }
            void await_suspend(std::coroutine_handle<> h) noexcept { wakeup->m_handle = h; }
            int await_resume() const noexcept { return wakeup->m_reason; }
        };
        return Awaiter{this};
    }

private:
    QObject m_context; // first member, so it is destroyed last and its connections never outlive the rest
    QTimer m_timer;
    std::coroutine_handle<> m_handle;
    int m_reason = Timeout;
    bool m_fired = false;
};

} // namespace tw
