// The queue service's thread.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <functional>
#include <mutex>
#include <optional>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <thread>

#include "bench/Patience.h"
#include "bench/PseudoTerminal.h"
#include "tests/ioss_mcsq/ServiceFixture.h"
#include "tests/platform/NoNewThreads.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Event = FACE::IOSS::NOTIFICATION_EVENT_TYPE;

constexpr seconds deadline{30};

/// Reads what it is told of, and keeps it.
class Listener : public MX_MCSQ::IO_Callback {
public:
    explicit Listener(MX_MCSQ& service) : service_(service) {}

    void Process_Notification_Event(long long handle, Event::Value event) override {
        EXPECT_EQ(event, Event::DATA_READY);
        if (before) {
            before();
        }
        READ_PAYLOAD_TYPE payload = largeRoom();
        Code::Value rc = Code::IN_PROGRESS;
        service_.Read(handle, 0, payload, rc);
        std::lock_guard<std::mutex> const lock(mutex_);
        ++calls_;
        handle_ = handle;
        if (rc == Code::NO_ERROR) {
            received_.insert(received_.end(), payload.data.begin(), payload.data.end());
        }
        grown_.notify_all();
    }

    /// Waits until that many bytes have come; gives all.
    Bytes received(std::size_t size) {
        std::unique_lock<std::mutex> lock(mutex_);
        EXPECT_TRUE(
            bench::waitFor(grown_, lock, deadline, [&] { return received_.size() >= size; }));
        return received_;
    }
    unsigned calls() {
        std::lock_guard<std::mutex> const lock(mutex_);
        return calls_;
    }
    long long handle() {
        std::lock_guard<std::mutex> const lock(mutex_);
        return handle_;
    }

    std::function<void()> before;  // set while nobody is told of anything

private:
    static READ_PAYLOAD_TYPE largeRoom() {
        Bytes const bytes(65536);
        Octets::RETURN_CODE code{};
        return {Octets(bytes.data(), static_cast<std::uint32_t>(bytes.size()), code)};
    }

    MX_MCSQ& service_;
    std::mutex mutex_;  // guards the rest
    std::condition_variable grown_;
    Bytes received_;
    unsigned calls_ = 0;
    long long handle_ = -1;
};

class MX_MCSQNotificationTest : public ServiceFixture {
protected:
    MX_MCSQNotificationTest() { start(); }
    ~MX_MCSQNotificationTest() override { service.reset(); }  // before those it calls

    /// The number of the service's thread; none when it does not run.
    static std::optional<pid_t> callbackThread() {
        for (auto const& task : std::filesystem::directory_iterator("/proc/self/task")) {
            std::ifstream file(task.path() / "comm");
            std::string name;
            if (std::getline(file, name) && name == "mcsq-poll") {
                return std::stoi(task.path().filename());
            }
        }
        return std::nullopt;
    }

    Listener first{*service};
    Listener second{*service};
};

TEST_F(MX_MCSQNotificationTest, TellsOfData) {
    opened("Queue0");
    long long const handle = opened("Queue1");
    EXPECT_EQ(listen(handle, first), Code::NO_ERROR);
    inject(1, bytesOf("one"));
    EXPECT_EQ(first.received(3), bytesOf("one"));
    EXPECT_EQ(first.handle(), handle);
    inject(1, bytesOf("two"));
    EXPECT_EQ(first.received(6), bytesOf("onetwo"));
}

TEST_F(MX_MCSQNotificationTest, TellsOfDataThatWasThereBefore) {
    long long const handle = opened("Queue1");
    inject(1, bytesOf("early"));
    listen(handle, first);
    EXPECT_EQ(first.received(5), bytesOf("early"));
}

TEST_F(MX_MCSQNotificationTest, TellsEachListenerOfItsOwnQueue) {
    listen(opened("Queue0"), first);
    listen(opened("Queue1"), second);
    inject(1, bytesOf("for the second"));
    inject(0, bytesOf("for the first"));
    EXPECT_EQ(first.received(13), bytesOf("for the first"));
    EXPECT_EQ(second.received(14), bytesOf("for the second"));
    EXPECT_EQ(first.handle(), 0);
    EXPECT_EQ(second.handle(), 1);
}

TEST_F(MX_MCSQNotificationTest, HasNoThreadBeforeTheFirstRegistration) {
    opened("Queue0");
    EXPECT_FALSE(callbackThread());
    listen(0, first);
    EXPECT_TRUE(bench::holdsInTime([] { return callbackThread().has_value(); }));
}

TEST_F(MX_MCSQNotificationTest, RefusesAListenerWithoutAThreadAndTakesItOnceThereIsOne) {
    long long const handle = opened("Queue0");
    {
        NoNewThreads const none;
        EXPECT_EQ(listen(handle, first), Code::NO_ACTION);
    }
    EXPECT_FALSE(callbackThread());
    inject(0, bytesOf("late"));
    EXPECT_EQ(listen(handle, first), Code::NO_ERROR);
    EXPECT_EQ(first.received(4), bytesOf("late"));
    EXPECT_EQ(first.calls(), 1U);
}

TEST_F(MX_MCSQNotificationTest, EndsItsThreadWithTheLastListenerAndStartsNoOther) {
    long long const handle = opened("Queue0");
    listen(handle, first);
    ASSERT_TRUE(bench::holdsInTime([] { return callbackThread().has_value(); }));
    EXPECT_EQ(ignore(handle), Code::NO_ERROR);
    EXPECT_TRUE(bench::holdsInTime([] { return !callbackThread(); }));
    EXPECT_EQ(listen(handle, first), Code::NO_ERROR);
    inject(0, bytesOf("unheard"));
    std::this_thread::sleep_for(milliseconds(150));  // three periods in which nothing may come
    EXPECT_FALSE(callbackThread());
    EXPECT_EQ(first.calls(), 0U);
    EXPECT_EQ(drain(0), bytesOf("unheard"));
}

TEST_F(MX_MCSQNotificationTest, EndsItsThreadWithinAPollOfTheLastListener) {
    constexpr milliseconds period{50};
    auto shortest = std::chrono::steady_clock::duration::max();
    // A machine that is held up takes longer, but not every time.
    for (int attempt = 0; attempt < 10 && shortest > 2 * period; ++attempt) {
        service = std::make_unique<MX_MCSQ>();
        start();
        Listener listener(*service);
        long long const handle = opened("Queue0");
        listen(handle, listener);
        ASSERT_TRUE(bench::holdsInTime([] { return callbackThread().has_value(); }));
        EXPECT_EQ(ignore(handle), Code::NO_ERROR);
        auto const begin = std::chrono::steady_clock::now();
        ASSERT_TRUE(bench::holdsInTime([] { return !callbackThread(); }));
        shortest = std::min(shortest, std::chrono::steady_clock::now() - begin);
        service.reset();  // before the listener
    }
    EXPECT_LE(shortest, 2 * period);
}

TEST_F(MX_MCSQNotificationTest, TellsNobodyAnyMoreOnceUnregistered) {
    listen(opened("Queue0"), first);
    listen(opened("Queue1"), second);
    EXPECT_EQ(ignore(0), Code::NO_ERROR);
    EXPECT_EQ(ignore(0), Code::NO_ERROR);  // nothing to end
    inject(0, bytesOf("unheard"));
    for (unsigned i = 1; i <= 3; ++i) {  // passes in which the first would have been called
        inject(1, bytesOf("x"));
        second.received(i);
    }
    EXPECT_EQ(first.calls(), 0U);
}

TEST_F(MX_MCSQNotificationTest, GivesUpAListOnlyOneEntryAtATime) {
    long long const handle = opened("Queue0");
    listen(handle, first);
    listen(handle, first);
    ignore(handle);
    inject(0, bytesOf("still heard"));
    EXPECT_EQ(first.received(11), bytesOf("still heard"));
}

TEST_F(MX_MCSQNotificationTest, CallsTheListenerThatRegisteredLast) {
    long long const handle = opened("Queue0");
    listen(handle, first);
    listen(handle, second);
    inject(0, bytesOf("x"));
    EXPECT_EQ(second.received(1), bytesOf("x"));
    EXPECT_EQ(first.calls(), 0U);
}

TEST_F(MX_MCSQNotificationTest, ForgetsAClosedConnection) {
    listen(opened("Queue0"), first);
    listen(opened("Queue0"), first);  // twice: both entries go
    listen(opened("Queue1"), second);
    EXPECT_EQ(close(0), Code::NO_ERROR);
    // Its descriptors are used anew, by a connection that nobody listens to any more.
    long long const anew = opened("Queue2");
    EXPECT_EQ(listen(anew, first), Code::NO_ERROR);
    EXPECT_EQ(ignore(anew), Code::NO_ERROR);
    inject(2, bytesOf("unheard"));
    inject(1, bytesOf("heard"));
    second.received(5);
    inject(1, bytesOf("!"));
    second.received(6);
    EXPECT_EQ(first.calls(), 0U);
    EXPECT_EQ(drain(2), bytesOf("unheard"));
    EXPECT_EQ(listen(opened("Queue0"), first), Code::NO_ERROR);
    inject(0, bytesOf("again"));
    EXPECT_EQ(first.received(5), bytesOf("again"));
}

TEST_F(MX_MCSQNotificationTest, EndsWithAListenerAtWork) {
    listen(opened("Queue0"), first);
    inject(0, bytesOf("x"));
    first.received(1);
    service.reset();
    // A thread that has been joined may still be listed for a moment.
    EXPECT_TRUE(bench::holdsInTime([] { return !callbackThread(); }));
}

TEST_F(MX_MCSQNotificationTest, EndsItsThreadWithAnExceptionAndTellsIt) {
    first.before = [] { throw std::runtime_error("what a listener raised"); };
    listen(opened("Queue0"), first);
    testing::internal::CaptureStderr();
    inject(0, bytesOf("x"));
    EXPECT_TRUE(bench::holdsInTime([] { return !callbackThread(); }));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "312what a listener raised\n");
    // The locks are free.
    EXPECT_EQ(ignore(0), Code::NO_ERROR);
    EXPECT_EQ(close(0), Code::NO_ERROR);
}

TEST_F(MX_MCSQNotificationTest, EndsItsThreadAlsoWithWhatIsNoException) {
    first.before = [] { throw 42; };
    listen(opened("Queue0"), first);
    testing::internal::CaptureStderr();
    inject(0, bytesOf("x"));
    EXPECT_TRUE(bench::holdsInTime([] { return !callbackThread(); }));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "312unknown exception\n");
}

TEST_F(MX_MCSQNotificationTest, EndsItsThreadWhenTheSystemRefusesToPoll) {
    listen(opened("Queue0"), first);
    ASSERT_TRUE(bench::holdsInTime([] { return callbackThread().has_value(); }));
    pid_t const thread = *callbackThread();
    rlimit files{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &files), 0);
    rlimit const none{0, files.rlim_max};  // the poll has more entries than may be files
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    bool const ended =
        bench::holdsInTime([thread] { return ::syscall(SYS_tgkill, ::getpid(), thread, 0) != 0; });
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &files), 0);
    EXPECT_TRUE(ended);
    // The locks are free.
    EXPECT_EQ(ignore(0), Code::NO_ERROR);
    EXPECT_EQ(close(0), Code::NO_ERROR);
}

TEST_F(MX_MCSQNotificationTest, GoesOnAfterASignal) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    struct sigaction before {};
    ASSERT_EQ(::sigaction(SIGUSR1, &action, &before), 0);
    listen(opened("Queue0"), first);
    ASSERT_TRUE(bench::holdsInTime([] { return callbackThread().has_value(); }));
    pid_t const thread = *callbackThread();
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(::syscall(SYS_tgkill, ::getpid(), thread, SIGUSR1), 0);
        std::this_thread::sleep_for(milliseconds(1));
    }
    inject(0, bytesOf("x"));
    EXPECT_EQ(first.received(1), bytesOf("x"));
    EXPECT_EQ(callbackThread(), thread);
    ASSERT_EQ(::sigaction(SIGUSR1, &before, nullptr), 0);
}

TEST_F(MX_MCSQNotificationTest, RegistersAndUnregistersUnderLoad) {
    listen(opened("Queue0"), first);
    long long const other = opened("Queue1");
    std::atomic<bool> over{false};
    std::size_t sent = 0;
    std::thread load([&] {
        while (!over) {
            sent += static_cast<std::size_t>(std::max<ssize_t>(::write(far[0].get(), "x", 1), 0));
        }
    });
    std::thread writer([&] {
        while (!over) {
            write(other, bytesOf("y"));
        }
    });
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(listen(other, second), Code::NO_ERROR);
        EXPECT_EQ(ignore(other), Code::NO_ERROR);
    }
    over = true;
    load.join();
    writer.join();
    EXPECT_EQ(first.received(sent).size(), sent);
}

TEST_F(MX_MCSQNotificationTest, ClosesWhileOthersWrite) {
    listen(opened("Queue0"), first);
    long long const other = opened("Queue1");
    std::atomic<bool> over{false};
    std::thread writer([&] {
        while (!over) {
            write(other, bytesOf("y"));
        }
    });
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(close(other), Code::NO_ERROR);
        EXPECT_EQ(opened("Queue1"), other);
    }
    over = true;
    writer.join();
}

TEST_F(MX_MCSQNotificationTest, DoesNotSpinOnADeviceThatHungUp) {
    // A terminal reports the end of its other side for ever, together with "data", of which a read
    // then finds none.
    std::optional<bench::PseudoTerminal> line{std::in_place};
    root.removeQueue(2);
    std::filesystem::create_symlink(line->slavePath(), root.queuePath(2));
    listen(opened("Queue2"), first);
    listen(opened("Queue0"), second);
    line.reset();
    ASSERT_TRUE(bench::holdsInTime([&] { return first.calls() > 0; }));
    auto const begin = std::chrono::steady_clock::now();
    unsigned const before = first.calls();
    ASSERT_TRUE(bench::holdsInTime([&] { return first.calls() >= before + 4; }));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(150));
    // The others are served meanwhile.
    inject(0, bytesOf("x"));
    EXPECT_EQ(second.received(1), bytesOf("x"));
}

}  // namespace
