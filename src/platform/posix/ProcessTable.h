#pragma once

// Reading other processes of this machine through /proc, in plain POSIX. The root is a
// parameter so that tests can lay out a process tree of their own.

#include <sys/types.h>

#include <optional>
#include <string>

namespace posix {

// The parent's id from ROOT/PID/stat; nullopt when the process is gone or unreadable.
std::optional<pid_t> parentOf(pid_t pid, const std::string& procRoot = "/proc");

// Where ROOT/PID/exe points: the process's executable. A replaced or deleted executable
// reads as its old path followed by " (deleted)".
std::optional<std::string> executableOf(pid_t pid, const std::string& procRoot = "/proc");

// NAME=VALUE entries of ROOT/PID/environ; empty when unreadable.
std::optional<std::string> environmentOf(pid_t pid, const std::string& procRoot = "/proc");

// This process's own executable.
std::string ownExecutable();

} // namespace posix
