#pragma once

#include <functional>
#include <initializer_list>
#include <string>

class Thread_Pool;
class Thread_Threadable;

/// What a service over pools writes to the log when it starts and stops, each behind its name. The usual
/// words; a service that has others replaces them.
struct Thread_ServiceTexts {
    const char* attemptingStartup = ": attempting startup";
    const char* currentlyRunning = ": startup failed: currently running";
    const char* startupFailed = ": startup failed";
    const char* startupSuccessful = ": startup successful";
    const char* attemptingShutdown = ": attempting shutdown";
    const char* notRunning = ": shutdown failed: not running";
    const char* stillRunningAtLast = ": threads still running on last attempt to shutdown";
    const char* stillRunning = ": threads still running";
    const char* shutdownSuccessful = ": shutdown successful";
};

/// Thread_Threadable::start of a service over pools: under its mutex sets it running and calls `startWork`,
/// which starts the pools and gives them their first work; an exception counts as false. False if the service
/// runs already or `startWork` failed; in the second case the pools that it started run, and shutting down
/// ends them.
bool Thread_StartService(Thread_Threadable& service, const std::string& name,
                         const Thread_ServiceTexts& texts, const std::function<bool()>& startWork);

/// Thread_Threadable::shutdown of such a service: shuts its pools down in this order. The service's mutex is
/// not held meanwhile, since a pool waits for its threads.
bool Thread_ShutDownService(Thread_Threadable& service, const std::string& name,
                            const Thread_ServiceTexts& texts, std::initializer_list<Thread_Pool*> pools,
                            bool& stillRunning, unsigned attempt, bool lastAttempt);
