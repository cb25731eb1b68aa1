#pragma once

/// Starting programs, and system calls that are repeated when a signal interrupts them. Any thread may call them.

#include "RHOAPI/RHOAPIExport.h"
#include "Toolbox/KelUtils/Text/KelStr.h"

#include <list>
#include <string>

/// Starts a program with the given arguments; `application` is searched for in PATH unless it contains a "/". The last
/// argument is not used.
///
/// Without `wait` the program runs in a session of its own, with SIGPIPE ignored, in `workingFolder` (when empty, in
/// the caller's), and gets the arguments exactly as given. Its parent is not the caller, which need not wait for it.
/// The call returns as soon as the program runs (true) or cannot be executed. False when it cannot be executed, its
/// folder cannot be entered or no process can be created. Also false, although the program may run, when the pipes to
/// the new process cannot be created. No descriptor or child process remains in the caller.
///
/// With `wait` a shell runs the program in `workingFolder` ("." when empty), and the call waits for its end; true means
/// exit status 0. If the folder cannot be entered, the shell reports that to standard error and runs the program in the
/// caller's folder. WARNING: the command line is built by putting double quotes around each text and single quotes
/// around the whole; nothing in the texts is escaped. A quote, "$" or "`" in them reaches the shell and may run
/// anything. Use this form only for texts of your own; for names and arguments from other sources use the form without
/// `wait`, which does not involve a shell.
RHOAPI_EXPORT bool KelLaunchApplication(const std::string& application, const std::list<std::string>& arguments,
                                        const std::string& workingFolder, bool wait, bool unused);

/// Passes `command` to the shell and waits. Returns the result of system(), which is -1 in a process that ignores
/// SIGCHLD. A text without a buffer counts as empty. The warning above also applies to the command.
RHOAPI_EXPORT int KelCreateProcessUtf8(CKelStr<char> command);

/// pipe(): 0, with the reading and the writing end in `descriptors`, both closed on exec; -1 with errno on failure.
/// Both ends are non-blocking when `flags` contain 4 or the system's O_NONBLOCK.
RHOAPI_EXPORT int kel_safe_pipe(int* descriptors, int flags);

/// The system calls of the same names, repeated while a signal interrupts them. Results and errno are those of the last
/// call.
RHOAPI_EXPORT long kel_safe_write(int descriptor, const void* buffer, unsigned long size);
/// The same for read.
RHOAPI_EXPORT long kel_safe_read(int descriptor, void* buffer, unsigned long size);
/// Linux closes the descriptor even when interrupted: the repeated call then fails, or closes a descriptor that another
/// thread has opened in between. Closing a pipe is never interrupted there; for other files in a program with threads
/// use close().
RHOAPI_EXPORT int kel_safe_close(int descriptor);
/// The same for waitpid.
RHOAPI_EXPORT int kel_safe_waitpid(int process, int* status, int options);
