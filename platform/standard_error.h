// Standard error for a program that must not wait for whoever reads it.
//
// A pipe that nobody empties or a journal that is stuck would hold a print for ever. So whatever is
// printed to stdio's `stderr` goes out in whole lines, and a line for which there is no room is
// dropped and counted. Children are left with descriptor 2 as it was.
#pragma once

// Puts stdio's `stderr`, assertions included, on a channel that does not block. To be called once,
// before the first print, with descriptor 2 open. Without the memory for it `stderr` stays as it
// was.
void open_standard_error();

// Finishes a line that went out in part and says how many lines were dropped, as soon as there is
// room. Costs nothing while all is well; to be called now and then.
void flush_standard_error();
