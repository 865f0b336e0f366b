// The signal that suspends or resumes a transcoder, held back until the tool can take it.
#pragma once

class QueueItem;

// Call it when the item's child has just been started: no signal is held back, and the tool has two
// seconds to install its handlers.
void expect_handlers(QueueItem& item);

// Makes the transcoder suspend itself (SIGUSR1) or continue (SIGUSR2) as soon as it can take that
// signal. A signal still held back is cancelled by the opposite one and by shutdown_proc(). Does
// nothing without a child.
void tell_transcoder(QueueItem& item, int signal_number);

// Sends the signal that tell_transcoder() holds, if the child takes it by now. To be
// called in every turn while the child runs.
void send_held_signal(QueueItem& item);
