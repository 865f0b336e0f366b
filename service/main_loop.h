// The polling main loop.
#pragma once

// Serves the control socket, gives the queue its turns and writes the queue file when it is due,
// until a termination signal arrives or the control socket fails.
void run_main_loop();
