#include "threads/Thread_Failure.h"

#include "log/Debug_Printf.h"

#include <cerrno>
#include <string_view>

namespace {

struct Reason {
    std::string_view action;
    int code;
    const char* text;
};

constexpr Reason reasons[] = {
    {"lock mutex", EINVAL, "mutex is not an initialized mutex"},
    {"lock mutex", EFAULT, "mutex is an invalid pointer"},
    {"lock mutex", EDEADLK,
     "the mutex type is PTHREAD_MUTEX_ERRORCHECK and an attempt was made to relock the mutex"},
    {"unlock mutex", EINVAL, "mutex is not an initialized mutex"},
    {"unlock mutex", EFAULT, "mutex is an invalid pointer"},
    {"unlock mutex", EPERM, "the calling thread does not own the mutex"},
    {"create mutex", EAGAIN, "system resources (other than memory) are unavailable"},
    {"create mutex", EINVAL, "attr does not refer to a valid condition variable attribute object"},
    {"create mutex", EFAULT, "mutex or attr is an invalid pointer"},
    {"create mutex", ENOMEM, "insufficient memory exists to initialize the mutex"},
    {"destroy mutex", EBUSY,
     "the mutex is locked or in use by another thread (for example, in a condition wait"},
    {"create condition", EAGAIN, "system resources (other than memory) are unavailable"},
    {"create condition", EBUSY, "cond refers to a condition variable that is already initialized"},
    {"create condition", EINVAL, "attr does not refer to a valid condition variable attribute object"},
    {"create condition", EFAULT, "cond or attr is an invalid pointer"},
    {"create condition", ENOMEM, "insufficient memory exists to initialize the condition variable"},
    {"destroy condition", EBUSY, "the condition variable is in use by another thread"},
    {"destroy condition", EINVAL, "cond does not refer to an initialized condition variable"},
    {"destroy condition", EFAULT, "cond is an invalid pointer"},
    {"signal condition", EINVAL, "cond does not refer to an initialized condition variable"},
    {"signal condition", EFAULT, "cond is an invalid pointer"},
    {"create thread", EFAULT, "thread or attr is an invalid pointer"},
    {"create thread", EINVAL, "attr is not an initialized thread attribute object"},
    {"wait for thread", EDEADLK, "a deadlock was detected or thread is the calling thread"},
    {"wait for thread", EINVAL, "thread does not refer to a joinable thread"},
    {"wait for thread", ESRCH, "thread does not specify a currently running thread in the process"},
    {"wait for thread", EFAULT, "status is an invalid pointer"},
};

const char* reasonFor(std::string_view action, int code) {
    for (const Reason& reason : reasons)
        if (reason.code == code && reason.action == action)
            return reason.text;
    return nullptr;
}

} // namespace

bool Thread_NullArgument(const char* function, const char* object) {
    DEBUG_LOG("THREAD: %s: %s is NULL\n", function, object);
    return false;
}

void Thread_LogFailure(int code, const char* function, const char* action) {
    const std::string_view kind = action;
    const char* reason = reasonFor(kind, code);
    if (reason != nullptr)
        DEBUG_LOG("THREAD: %s: failed to %s: %s\n", function, action, reason);
    else if (kind == "lock mutex")
        DEBUG_LOG("THREAD: %s: failed to %s: unknown error: errno= %u, result=%d\n", function, action,
                  static_cast<unsigned>(errno), code);
    else if (kind == "unlock mutex")
        DEBUG_LOG("THREAD: %s: failed to %s: unknown error: errno = %u, result=%d\n", function, action,
                  static_cast<unsigned>(errno), code);
    else
        DEBUG_LOG("THREAD: %s: failed to %s: unknown error %u\n", function, action,
                  static_cast<unsigned>(code));
}
