#pragma once

#include <chrono>
#include <string>

/// One line on standard error that is written over for as long as the object lives, and then wiped. Only a
/// terminal gets it.
class Ctl_ProgressLine {
public:
    Ctl_ProgressLine() = default;
    Ctl_ProgressLine(const Ctl_ProgressLine&) = delete;
    Ctl_ProgressLine& operator=(const Ctl_ProgressLine&) = delete;
    ~Ctl_ProgressLine();

    /// `text` is ASCII; what is too long for the terminal is cut off.
    void show(const std::string& text);
    /// Since the object was made.
    std::chrono::seconds time() const;
    /// Wipes whatever line stands there, from any thread.
    static void wipe();

private:
    const std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
    bool isShown_ = false;
};

/// "[#####---------------]  25 %" for a share of 0 to 1; one beyond that is taken for 1.
std::string Ctl_ProgressBar(double share);
