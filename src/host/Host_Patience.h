#pragma once

#include "host/Host_Host.h"

#include <cerrno>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

/// System calls on a dead device or file system never return and cannot be interrupted, so they are made on
/// threads of their own. For each `subject`, a path say, at most one thread is ever left waiting: until it
/// comes back nothing else is tried with the subject. Nor are there more than 256 threads: should that many
/// be stuck, nothing is tried with any subject until one of them comes back. Work on one subject takes turns.
/// Thread-safe.

/// Does the work and waits until it is done. False if that takes longer than `limit`, if earlier work on the
/// subject is still stuck, or if there is no thread to be had. The work may go on after that, so it owns or
/// shares all that it touches. Whatever it throws is dropped.
bool Host_DoWithin(std::chrono::milliseconds limit, const std::string& subject, std::function<void()> work);

/// The same for work with an answer: ETIMEDOUT if there is none in time.
template <typename Value>
Host_Answer<Value> Host_AskWithin(std::chrono::milliseconds limit, const std::string& subject,
                                  std::function<Host_Answer<Value>()> ask) {
    const auto answer = std::make_shared<std::optional<Host_Answer<Value>>>();
    if (!Host_DoWithin(limit, subject, [answer, ask = std::move(ask)] { answer->emplace(ask()); }))
        return Host_Answer<Value>::failure(ETIMEDOUT);
    return *answer ? std::move(**answer) : Host_Answer<Value>::failure(ENOMEM);
}
