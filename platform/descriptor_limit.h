// The process's limit of open descriptors.
#pragma once

// Raises the soft limit to the hard one, for a process that never uses select(). False with errno
// when the kernel refuses; the limit is then as it was.
bool raise_descriptor_limit();

// In a forked child: takes raise_descriptor_limit() back, since the program that the child becomes
// may use select(), or close every number up to the limit. Nothing when it was not raised.
void restore_descriptor_limit();
