#include "MainThreadChannel.hpp"

#include <utility>

namespace vantonode {

std::shared_ptr<MainThreadChannel> MainThreadChannel::open(Napi::Env env) {
    std::shared_ptr<MainThreadChannel> channel(new MainThreadChannel());
    channel->mEnv = env;
    channel->mFunction = Function::New(env, "vantoconnect", 0, 1);
    channel->mFunction.Unref(env);
    channel->mOpen = true;
    // Registered after the thread-safe function, so it runs before Node-API frees that
    // function at teardown (hooks run in reverse order): no post can reach freed memory.
    // The environment keeps the channel until then.
    napi_add_env_cleanup_hook(env, &closeAtTeardown,
                              new std::shared_ptr<MainThreadChannel>(channel));
    return channel;
}

MainThreadChannel::~MainThreadChannel() = default;

void MainThreadChannel::closeAtTeardown(void* kept) {
    std::unique_ptr<std::shared_ptr<MainThreadChannel>> channel(
        static_cast<std::shared_ptr<MainThreadChannel>*>(kept));
    const std::lock_guard<std::mutex> lock((*channel)->mMutex);
    // Threads still posting hold references of their own and find the channel closed. The
    // thread-safe function itself is freed by Node-API.
    (*channel)->mOpen = false;
}

bool MainThreadChannel::post(Task task) {
    auto* heap = new (std::nothrow) Task(std::move(task));
    if (heap == nullptr) {
        return false;
    }
    napi_status status = napi_closing;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (mOpen) {
            status = mFunction.NonBlockingCall(heap);
        }
    }
    if (status != napi_ok) {
        delete heap;
        return false;
    }
    return true;
}

void MainThreadChannel::callJs(Napi::Env env, Napi::Function, std::nullptr_t*, Task* task) {
    std::unique_ptr<Task> owned(task);
    if (env == nullptr) {
        return;  // the environment is going away: nothing to run JavaScript in
    }
    try {
        (*owned)(env);
    } catch (const Napi::Error&) {
        // A JavaScript exception the task did not handle; the package's own code reports
        // users' exceptions before they get here, so this is never fatal.
    } catch (const std::exception&) {
        // Out of memory making a value: the promise stays pending rather than end the process.
    }
}

void MainThreadChannel::hold() {
    if (mHolds++ == 0) {
        mFunction.Ref(mEnv);
    }
}

void MainThreadChannel::release() {
    if (mHolds > 0 && --mHolds == 0) {
        mFunction.Unref(mEnv);
    }
}

}  // namespace vantonode
