// One service at a time.
#pragma once

// Takes the instance lock, a lock on the service's own executable that lasts as long as the
// process. True when another process holds it. Where the lock cannot be had for any other reason
// the answer is false, and the service runs without it.
bool already_running();
