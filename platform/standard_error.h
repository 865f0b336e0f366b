// Standard error for a program that must not wait for the reader.
//
// A pipe that nobody reads or a journal that is stuck could block a print indefinitely. Text
// printed to stdio's `stderr` is therefore written in whole lines, and a line for which there is no
// room is dropped and counted. Children still get the original descriptor 2.
#pragma once

// Redirects stdio's `stderr`, including assertion messages, to a channel that does not block. Call
// it once, before the first print, with descriptor 2 open. If out of memory, `stderr` is left
// unchanged.
void open_standard_error();

// Completes a partly written line and reports the number of dropped lines as soon as there is room.
// Call it regularly; it costs nothing if there is nothing to do.
void flush_standard_error();
