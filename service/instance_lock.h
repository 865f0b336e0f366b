// One service at a time.
#pragma once

// Takes the instance lock, a lock on the service's own executable that lasts as long as the
// process. True if another process holds it. If locking fails for any other reason, the result is
// false, and the service runs without a lock. A service that was killed can leave the lock to
// children that have not executed their tool yet: waits for them, at most 5 s.
bool already_running();
