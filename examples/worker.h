// A thread that owns a provider and runs what other threads post to it, in order. None of the
// provider's strings may leave it, and no exception. Compile with -pthread.
#pragma once

#include <SourceCodeControlSystemProviderInterface.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>

class Worker {
 public:
  using Provider = SourceCodeControlSystemProviderInterface;
  using Job = std::function<void(Provider&)>;
  // Takes over what allocate() returned, if that is not null.
  Worker(Provider* provider, decltype(&ReleaseSourceCodeControlSystemInterface) release)
      : thread_([this, provider, release] {
          for (Job job = takeJob(); job; job = takeJob()) job(*provider);
          release(provider);
        }) {}
  ~Worker() {
    if (!thread_.joinable()) return;  // it has finished
    std::unique_lock<std::mutex> lock(mutex_);
    jobs_.clear();  // what has not begun is dropped
    lock.unlock();
    finish();
  }
  // Lets the thread run a job after those posted before; none after finish().
  void post(Job job) {
    std::lock_guard<std::mutex> lock(mutex_);
    jobs_.push_back(std::move(job));
    changed_.notify_one();
  }
  // Runs what was posted, and ends. Takes as long as the clients that run.
  void finish() {
    post(nullptr);
    thread_.join();
  }

 private:
  Job takeJob() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return !jobs_.empty(); });
    Job job = std::move(jobs_.front());
    jobs_.pop_front();
    return job;
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Job> jobs_;  // an empty one ends the thread
  std::thread thread_;    // last: it uses the others
};
