#include "exec/Exec_Steps.h"

#include "base/String_Functions.h"
#include "exec/Exec_ChildProcess.h"
#include "exec/Exec_ChildStart.h"
#include "exec/Exec_CloseFrom.h"
#include "log/Debug_Printf.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int firstOwnDescriptor = STDERR_FILENO + 1;
constexpr int couldNotStart = 255;

// In the child:

void report(int descriptor, Exec_ChildStep step) noexcept {
    const Exec_ChildReport failure{step, errno};
    if (descriptor != -1)
        // A record is far shorter than what a pipe takes in one piece, so there is nothing to do about less.
        static_cast<void>(!write(descriptor, &failure, sizeof failure));
}

[[noreturn]] void giveUp(int descriptor, Exec_ChildStep step) noexcept {
    report(descriptor, step);
    _exit(couldNotStart);
}

// The C library's setgroups, setgid and setuid would ask other threads to follow suit, under a lock.

bool leaveSupplementaryGroups() noexcept {
    return getgroups(0, nullptr) == 0 || syscall(SYS_setgroups, 0, nullptr) == 0;
}

// In the agent:

void logReport(const Exec_ChildReport& failure, const User_Account& account, const char* program) {
    switch (failure.step) {
    case EXEC_STEP_STDERR:
        DEBUG_LOG("EXEC: Failed to close child's STDERR\n");
        break;
    case EXEC_STEP_SETGID:
        DEBUG_LOG("EXEC: Unable to setgid to primary group for user \n");
        DEBUG_LOG("EXEC: %s\n", std::strerror(failure.error));
        break;
    case EXEC_STEP_SETUID:
        DEBUG_LOG("EXEC: Unable to setuid to account %s\n", account.name.c_str());
        break;
    case EXEC_STEP_EXEC:
        DEBUG_LOG("EXEC: Unable to exec %s: %s\n", program, std::strerror(failure.error));
        break;
    }
}

void logReports(const Exec_Pipe& reports, const User_Account& account, const char* program) {
    Exec_ChildReport failure;
    while (reports.exists() && read(reports.readEnd(), &failure, sizeof failure) == sizeof failure)
        logReport(failure, account, program);
}

Exec_ExecResult couldNotWait() {
    const std::string cause = nxGetLastErrorMessage();
    DEBUG_LOG("EXEC: waitpid call failed\n");
    return {EXEC_ERROR, "failed to wait for child to terminate " + cause};
}

Exec_ExecResult ranTooLong(std::chrono::milliseconds runTime) {
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(runTime).count();
    DEBUG_LOG("EXEC: ending a child that ran for %lld seconds\n", static_cast<long long>(seconds));
    return {EXEC_ERROR, "Child process was ended because it ran for " + std::to_string(seconds) + " seconds"};
}

Exec_ExecResult agentStops() {
    return {EXEC_ERROR, "Child process was ended because the agent stops"};
}

/// Waits for the end of the child or what comes before it. Keeps the pipe from filling meanwhile.
Exec_ChildProcess::Wake waitForEnd(Exec_ChildProcess& child, Exec_ErrorCapture& errors,
                                   Exec_ChildProcess::Clock::time_point until) {
    for (;;) {
        const Exec_ChildProcess::Wake wake = child.wait(errors.watched(), until);
        if (wake != Exec_ChildProcess::Wake::Readable)
            return wake;
        errors.readOnce();
    }
}

bool wasKilled(int status) {
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

Exec_ExecResult accountFor(Exec_ChildProcess& child, Exec_ErrorCapture& errors,
                           std::chrono::milliseconds runTime) {
    const auto until = Exec_ChildProcess::Clock::now() + runTime;
    ExecResultCode code = EXEC_PENDING;
    std::string text;
    int status = 0;
    do {
        const Exec_ChildProcess::Wake wake = waitForEnd(child, errors, until);
        if (wake == Exec_ChildProcess::Wake::Deadline)
            return ranTooLong(runTime);
        if (wake == Exec_ChildProcess::Wake::Stopping)
            return agentStops();
        if (!child.reap(status))
            return couldNotWait();
        if (Exec_ChildProcess::areAllEnding() && wasKilled(status))
            return agentStops();
    } while (!analyze_child_termination(status, errors.exists(), errors, code, text));
    return {code, text};
}

} // namespace

void prepare_exec_arguments(const char* program, int argc, char* const* argv,
                            Exec_ArgumentVector& arguments) {
    arguments.fill(nullptr);
    arguments[0] = const_cast<char*>(program); // NOLINT: execv takes its texts so, and changes none
    std::copy_n(argv, std::max(argc, 0), arguments.begin() + 1);
}

int create_sanitized_environment(int kept) noexcept {
    if (kept == -1 || (kept != firstOwnDescriptor && dup3(kept, firstOwnDescriptor, O_CLOEXEC) == -1)) {
        Exec_CloseFrom(firstOwnDescriptor);
        return -1;
    }
    Exec_CloseFrom(firstOwnDescriptor + 1);
    return firstOwnDescriptor;
}

void plumb_setid_and_exec(const Exec_ChildPlan& plan) noexcept {
    Exec_LeaveAgentBehind();
    // One call closes the agent's standard error and puts the pipe in its place.
    if (plan.errorDescriptor != -1 && dup2(plan.errorDescriptor, STDERR_FILENO) == -1)
        report(plan.reportDescriptor, EXEC_STEP_STDERR);
    const int reports = create_sanitized_environment(plan.reportDescriptor);

    // The group first: the user may not change it any more.
    if (!leaveSupplementaryGroups() || syscall(SYS_setgid, plan.gid) != 0)
        giveUp(reports, EXEC_STEP_SETGID);
    if (syscall(SYS_setuid, plan.uid) != 0)
        giveUp(reports, EXEC_STEP_SETUID);
    execv(plan.arguments[0], plan.arguments.data());
    giveUp(reports, EXEC_STEP_EXEC);
}

bool analyze_child_termination(int status, bool pipeResult, Exec_ErrorCapture& pipe, ExecResultCode& code,
                               std::string& text) {
    if (WIFEXITED(status))
        return analyze_normal_termination(status, pipeResult, pipe, code, text);
    return analyze_abnormal_termination(status, code, text);
}

bool analyze_normal_termination(int status, bool pipeResult, Exec_ErrorCapture& pipe, ExecResultCode& code,
                                std::string& text) {
    const int exitStatus = WEXITSTATUS(status);
    if (exitStatus == 0) {
        code = EXEC_SUCCESS;
        text = "success";
        return true;
    }
    code = EXEC_FAILURE;
    text = "Child exited with code: " + std::to_string(exitStatus);
    if (!pipeResult)
        return true;
    pipe.readRest();
    if (pipe.text().empty()) {
        DEBUG_LOG("EXEC: Call to read on stderr_pipe failed\n");
        return true;
    }
    text.append(" ").append(pipe.text());
    std::replace(text.begin(), text.end(), '\0', ' '); // a zero byte would end the text on its way
    if (pipe.text().size() == Exec_ErrorCapture::maximum)
        text += "...";
    return true;
}

bool analyze_abnormal_termination(int status, ExecResultCode& code, std::string& text) {
    code = EXEC_ERROR;
    if (WIFSTOPPED(status)) {
        text = "Child process was stopped due to signal: " + std::to_string(WSTOPSIG(status));
        return false;
    }
    if (WCOREDUMP(status))
        text = "Child process dumped core";
    else
        text = "Child process was terminated due to signal: " + std::to_string(WTERMSIG(status));
    return true;
}

Exec_ExecResult Exec_RunAs(const User_Account& account, const Exec_ArgumentVector& arguments,
                           std::chrono::milliseconds runTime) {
    if (Exec_ChildProcess::areAllEnding())
        return {EXEC_ERROR, "Child process was not started because the agent stops"};
    Exec_ErrorCapture errors;
    if (!errors.exists())
        DEBUG_LOG("EXEC:Failed to create the stderr pipe\n");
    Exec_Pipe reports;
    const Exec_ChildPlan plan = {arguments, account.uid, account.gid, errors.writeEnd(), reports.writeEnd()};

    pid_t pid = -1;
    {
        const Exec_SignalsHeldBack heldBack;
        pid = fork();
        if (pid == 0)
            plumb_setid_and_exec(plan);
    }
    if (pid == -1) {
        const std::string cause = nxGetLastErrorMessage();
        DEBUG_LOG("EXEC:Failed to fork child process\n");
        return {EXEC_ERROR, cause};
    }
    Exec_ChildProcess child(pid);
    errors.closeWriteEnd();
    reports.closeWriteEnd();

    Exec_ExecResult result = accountFor(child, errors, runTime);
    logReports(reports, account, arguments[0]);
    return result;
}
