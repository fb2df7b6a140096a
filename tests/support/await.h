// await.h - waits for what threads bring about, and counts what they leave.
#ifndef TESTS_SUPPORT_AWAIT_H
#define TESTS_SUPPORT_AWAIT_H

#include <chrono>
#include <filesystem>
#include <iterator>
#include <thread>

// Whether the condition comes true, within a bounded time.
template <typename Condition> bool await(Condition condition)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);

    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::yield();
    }
    return true;
}

inline int count_in(const char *path)
{
    return static_cast<int>(
        std::distance(std::filesystem::directory_iterator(path), {}));
}

inline int count_threads()
{
    // A sanitizer starts a thread of its own beside the first one.
    static const bool has_begun = (std::thread([] {}).join(), true);

    static_cast<void>(has_begun);
    return count_in("/proc/self/task");
}

#endif
