#include "threads/Thread_Runnable.h"

void Thread_Runnable::setName(const char* name) {
    if (name != nullptr)
        name_ = name;
}

void Thread_Runnable::setHostTarget(const char* hostTarget) {
    if (hostTarget != nullptr)
        hostTarget_ = hostTarget;
}
