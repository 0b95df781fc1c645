// What it costs to get a unit of work to another thread: Thread_Pool beside the least that would do, a queue
// under one std::mutex with one std::condition_variable. Both run the same runnables on the same number of
// threads.

#include "threads/Thread_Pool.h"
#include "threads/Thread_Runnable.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace {

constexpr unsigned workers = 5;

/// The bare queue: threads that take runnables until it is closed.
class BareQueue {
public:
    BareQueue() {
        threads_.reserve(workers);
        for (unsigned i = 0; i < workers; ++i)
            threads_.emplace_back([this] { work(); });
    }
    BareQueue(const BareQueue&) = delete;
    BareQueue& operator=(const BareQueue&) = delete;
    ~BareQueue() {
        {
            const std::lock_guard lock(mutex_);
            closed_ = true;
        }
        filled_.notify_all();
    }

    void give(std::unique_ptr<Thread_Runnable> runnable) {
        {
            const std::lock_guard lock(mutex_);
            queue_.push_back(std::move(runnable));
        }
        filled_.notify_one();
    }

private:
    void work() {
        for (;;) {
            std::unique_lock lock(mutex_);
            filled_.wait(lock, [this] { return closed_ || !queue_.empty(); });
            if (queue_.empty())
                return;
            const std::unique_ptr<Thread_Runnable> runnable = std::move(queue_.front());
            queue_.pop_front();
            lock.unlock();
            runnable->run();
        }
    }

    std::mutex mutex_;
    std::condition_variable filled_;
    std::deque<std::unique_ptr<Thread_Runnable>> queue_;
    bool closed_ = false;
    std::vector<std::jthread> threads_;
};

/// The pool behind the same two operations.
class PoolQueue {
public:
    PoolQueue() {
        pool_.init(workers, Thread_Pool::Unlimited, 0);
        pool_.start();
    }
    void give(std::unique_ptr<Thread_Runnable> runnable) {
        if (pool_.handleRunnable(runnable.get(), false))
            static_cast<void>(runnable.release());
    }

private:
    Thread_Pool pool_;
};

/// Lets the giver wait until the last of a burst has run. Sleeps at once, so that nothing but the hand-over
/// counts.
class Burst {
public:
    explicit Burst(int size) : left_(size) {}

    void finishOne() {
        if (left_.fetch_sub(1, std::memory_order_acq_rel) != 1)
            return;
        const std::lock_guard lock(mutex_);
        over_ = true;
        ended_.notify_one();
    }
    void wait() {
        std::unique_lock lock(mutex_);
        ended_.wait(lock, [this] { return over_; });
    }

private:
    std::atomic<int> left_;
    std::mutex mutex_;
    std::condition_variable ended_;
    bool over_ = false;
};

class Piece : public Thread_Runnable {
public:
    explicit Piece(Burst& burst) : burst_(burst) {}
    void run() override { burst_.finishOne(); }

private:
    Burst& burst_;
};

template <typename Queue>
void handOver(benchmark::State& state) {
    const int size = static_cast<int>(state.range(0));
    Queue queue;
    for (auto _ : state) {
        Burst burst(size);
        for (int i = 0; i < size; ++i)
            queue.give(std::make_unique<Piece>(burst));
        burst.wait();
    }
    state.SetItemsProcessed(state.iterations() * size);
}

/// One at a time: wake a sleeping thread and wait for it. Many: the threads find work waiting.
BENCHMARK(handOver<BareQueue>)->Arg(1)->Arg(1000)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(handOver<PoolQueue>)->Arg(1)->Arg(1000)->MeasureProcessCPUTime()->UseRealTime();

} // namespace

BENCHMARK_MAIN();
