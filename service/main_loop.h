// The main loop, which polls children and clients.
#pragma once

// Serves the control socket, gives each job its turn and writes the queue file when due, until a
// termination signal arrives or the control socket fails.
void run_main_loop();
