#pragma once

#include <string>
#include <vector>

/// What a test can see of the stand-ins for Darwin's functions, and make them do.
namespace corvane::darwin {

/// Has the next call of `function` fail, as its manual page says that it may: with `error`, a value
/// of errno, or a status of notify(3).
void failNext(const std::string& function, int error);

/// For the stand-ins: the error with which this call of `function` fails, else 0.
int failureOf(const std::string& function);

/// As revoke(2), or an end of the file system, does to what `descriptor` has open, where a kernel
/// queue watches that.
void revoke(int descriptor);

/// How many kernel queues there are, how many objects of CoreFoundation, and how many
/// registrations of notify(3).
int openQueues();
int liveObjects();
int registrations();

/// How often a kernel queue was asked so far: a loop with nothing to do asks rarely.
int queueCalls();

/// Holds back notifications on their way to this process, from the call on, until it is called with
/// `false`: notify_post(3) returns before delivery and promises no time for it.
void delayNotifications(bool isDelayed);

/// What os_log(3) shows of what was logged.
std::vector<std::string> logged();

}  // namespace corvane::darwin
