#pragma once

/// Starting programs, and system calls that go on when a signal interrupts them. May be called from any thread.

#include "RHOAPI/RHOAPIExport.h"
#include "Toolbox/KelUtils/Text/KelStr.h"

#include <list>
#include <string>

/// Starts a program with the given arguments; `application` is looked for in PATH unless it holds a "/". The last
/// argument is not used.
///
/// Without `wait` the program is started on its own: in a session of its own, with SIGPIPE ignored, and with no parent
/// that would have to wait for it. It runs in `workingFolder`, or where the caller runs when that is empty, and gets
/// the arguments exactly as they are. The call returns as soon as the program runs or cannot be executed; true means
/// that it runs. False when it cannot be executed, its folder cannot be entered or a process cannot be made. When a
/// pipe to the new process cannot be made the answer is false although the program may run. Whatever happens, no
/// descriptor and no process is left behind in the caller.
///
/// With `wait` a shell runs it in `workingFolder`, "." when empty, and the call waits for its end; true means that it
/// ended with the status 0. WARNING: the command line is built by putting double quotes around each text and single
/// quotes around the whole; nothing in the texts is escaped. A quote, "$" or "`" in them is seen by the shell and may
/// run anything. Use this form with texts of your own only; for names and arguments that come from elsewhere use the
/// form without `wait`, which has no shell in between.
RHOAPI_EXPORT bool KelLaunchApplication(const std::string& application, const std::list<std::string>& arguments,
                                        const std::string& workingFolder, bool wait, bool unused);

/// Hands `command` to the shell and waits: the result of system(). A text without a buffer counts as empty. What is
/// said above about texts from elsewhere holds for the command too.
RHOAPI_EXPORT int KelCreateProcessUtf8(CKelStr<char> command);

/// pipe: 0, and `descriptors` holds the reading and the writing end, both closed when a program is executed; -1 when
/// there is none. Both ends do not block when `flags` hold 4 or the system's O_NONBLOCK.
RHOAPI_EXPORT int kel_safe_pipe(int* descriptors, int flags);

/// These four answer as the system calls of their names do, and leave errno as they do, but go on when a signal
/// interrupts them before they have done anything.
RHOAPI_EXPORT long kel_safe_write(int descriptor, const void* buffer, unsigned long size);
RHOAPI_EXPORT long kel_safe_read(int descriptor, void* buffer, unsigned long size);
/// Linux closes the descriptor even when interrupted: the second call may then fail, or close what another thread has
/// opened meanwhile. Pipes are never interrupted there; for other files in a program with threads use close().
RHOAPI_EXPORT int kel_safe_close(int descriptor);
RHOAPI_EXPORT int kel_safe_waitpid(int process, int* status, int options);
