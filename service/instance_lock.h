// Ensures that only one instance of the service runs.
#pragma once

// Takes the instance lock: a lock on the service's own executable, which the kernel releases when
// the process ends. True if another process holds it. If the lock cannot be taken for any other
// reason, the result is false and the service runs without it.
bool already_running();
