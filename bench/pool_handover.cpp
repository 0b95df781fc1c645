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
#include <semaphore>
#include <thread>
#include <vector>

namespace {

constexpr unsigned workers = 5;
/// Handed over at a stretch before the end of all is waited for.
constexpr int burst = 1000;

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

/// Tells the giver when the last of a burst has run.
class Countdown : public Thread_Runnable {
public:
    Countdown(std::atomic<int>& left, std::binary_semaphore& done) : left_(left), done_(done) {}
    void run() override {
        if (left_.fetch_sub(1, std::memory_order_acq_rel) == 1)
            done_.release();
    }

private:
    std::atomic<int>& left_;
    std::binary_semaphore& done_;
};

/// One at a time: wake a sleeping thread, wait for its answer.
template <typename Queue>
void roundTrip(benchmark::State& state) {
    Queue queue;
    for (auto _ : state) {
        std::atomic<int> left = 1;
        std::binary_semaphore done{0};
        queue.give(std::make_unique<Countdown>(left, done));
        done.acquire();
    }
    state.SetItemsProcessed(state.iterations());
}

/// Many at once: the threads find work waiting.
template <typename Queue>
void inBursts(benchmark::State& state) {
    Queue queue;
    for (auto _ : state) {
        std::atomic<int> left = burst;
        std::binary_semaphore done{0};
        for (int i = 0; i < burst; ++i)
            queue.give(std::make_unique<Countdown>(left, done));
        done.acquire();
    }
    state.SetItemsProcessed(state.iterations() * burst);
}

BENCHMARK(roundTrip<BareQueue>)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(roundTrip<PoolQueue>)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(inBursts<BareQueue>)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(inBursts<PoolQueue>)->MeasureProcessCPUTime()->UseRealTime();

} // namespace

BENCHMARK_MAIN();
