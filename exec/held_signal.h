// The signal that suspends or resumes a transcoder, held back until the tool can take it.
#pragma once

class QueueItem;

// To be called when the item's child has just been started: no signal is held for it, and its tool
// has two seconds to set up its handlers.
void expect_handlers(QueueItem& item);

// Has a transcoder suspend itself (SIGUSR1) or continue (SIGUSR2), as soon as it takes that signal;
// the one cancels the other while that is still held, and QueueItem::shutdown_proc() cancels both.
// Nothing without a child.
void tell_transcoder(QueueItem& item, int signal_number);

// Sends the signal that tell_transcoder() holds, if the child takes it by now. To be
// called in every turn while the child runs.
void send_held_signal(QueueItem& item);
