// The orderly end of the service.
#pragma once

// Asks every child to end and serves on until they have, for at most 10 s; what is left is killed.
void shutdown_transcode_queue_processes();

// Empties the queue and destroys every item.
void shutdown_transcode_queue();
