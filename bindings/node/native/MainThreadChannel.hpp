#pragma once

// The one way work reaches JavaScript from the library's threads and our own: a task posted
// from any thread runs later on the environment's main thread, where JavaScript values may be
// made. Posting never blocks (the library's threads must never wait on the event loop), and
// after the environment is torn down a post is dropped instead of touching freed state.
//
// The channel does not hold the event loop open by itself: each promise or receipt still to
// settle holds it (hold/release), so a script whose work is done exits on its own.

#include <napi.h>

#include <functional>
#include <memory>
#include <mutex>

namespace vantonode {

class MainThreadChannel {
  public:
    using Task = std::function<void(Napi::Env)>;

    // On the main thread. Closes itself when the environment is torn down.
    static std::shared_ptr<MainThreadChannel> open(Napi::Env env);
    ~MainThreadChannel();
    MainThreadChannel(const MainThreadChannel&) = delete;
    MainThreadChannel& operator=(const MainThreadChannel&) = delete;

    // Any thread. False when the task was dropped (environment gone, or out of memory).
    bool post(Task task);

    // Main thread only: the event loop stays alive while holds outnumber releases.
    void hold();
    void release();

  private:
    MainThreadChannel() = default;
    static void callJs(Napi::Env env, Napi::Function, std::nullptr_t*, Task* task);
    static void closeAtTeardown(void* kept);

    using Function =
        Napi::TypedThreadSafeFunction<std::nullptr_t, Task, &MainThreadChannel::callJs>;
    std::mutex mMutex;
    bool mOpen = false;
    Function mFunction;
    Napi::Env mEnv{nullptr};
    int mHolds = 0;  // main thread only
};

}  // namespace vantonode
