#include "tests/lifecycle/item_answers.h"

class QueueItem;

// The linker redirects the program's calls of these functions here (--wrap).
extern "C" {
int __real__ZN9QueueItem14validate_readyEv(QueueItem* item);
bool __real__ZN9QueueItem5readyEv(QueueItem* item);

int __wrap__ZN9QueueItem14validate_readyEv(QueueItem* item) {
  return qx_test::readiness.validate_ready ? qx_test::readiness.validate_ready()
                                           : __real__ZN9QueueItem14validate_readyEv(item);
}
bool __wrap__ZN9QueueItem5readyEv(QueueItem* item) {
  return qx_test::readiness.ready ? qx_test::readiness.ready() : __real__ZN9QueueItem5readyEv(item);
}
}

qx_test::readiness_answers qx_test::readiness;
