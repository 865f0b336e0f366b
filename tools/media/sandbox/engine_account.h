// The separate account of engines, "qx-vod-engine": what is lent to it, and how a process takes it.
#pragma once

#include "tools/media/sandbox.h"

// Whether the account exists and this process may become it.
bool may_take_account();

// Lends `file` to the account, which may read and write it then. False if the file system does not
// allow that, or ignores it. True without such an account.
bool lend_to_account(int file);

// Lends the files of `limits` to the account, then makes it this process's own. The process keeps
// the right to read every file if the account could not read those of `limits`. Where they cannot
// be lent, it keeps its account, and of the rights of root only those to files. Changes nothing
// where may_take_account() is false. False with errno.
bool take_account(const sandbox& limits);
