// Orderly shutdown of the service.
#pragma once

// Asks every child to end and keeps serving until they have, for at most 10 s; then kills those
// that are left.
void shutdown_transcode_queue_processes();

// Empties the queue and destroys every item.
void shutdown_transcode_queue();
