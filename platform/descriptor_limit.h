// The process's limit on open descriptors.
#pragma once

// Raises the soft limit to the hard limit, for a process that never uses select(). Returns false
// with errno set if the kernel refuses; the limit is then unchanged.
bool raise_descriptor_limit();

// In a forked child: undoes raise_descriptor_limit(), since the program that the child will execute
// may use select(), or close every descriptor number up to the limit. Does nothing if the limit was
// not raised.
void restore_descriptor_limit();
