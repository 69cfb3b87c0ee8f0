/* Compiled as C99 against the shared library: the public toolkit header must
 * stay valid C, and its operations must be reachable through the exported
 * symbols alone. Exits non-zero on the first failed check. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "cclog.h"

static int failures = 0;

#define CHECK(cond)                                                  \
  do {                                                               \
    if (!(cond)) {                                                   \
      fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
      ++failures;                                                    \
    }                                                                \
  } while (0)

int main(void) {
  CCgObject *logger;
  CCgObject *again;
  CCgEvent *event;
  CCgI18Msg *msg;
  char *text;
  CCgBool found = 0;

  CHECK(CCgOpenToolkit(NULL));
  logger = CCgGetObject("ctest.logger", "ccg_basiclogger");
  CHECK(logger != NULL);
  again = CCgGetObject("ctest.logger", NULL);
  CHECK(CCgAreObjectsEqual(logger, again));
  CCgReleaseObject(again);

  CCgSetObjProp(logger, "level", "WARN");
  CHECK(CCgIsLoggable(logger, CCG_LEVEL_ERROR));
  CHECK(!CCgIsLoggable(logger, CCG_LEVEL_INFO));
  CHECK(CCgGetObjPropInt(logger, "level", &found) == 0 && !found);
  text = CCgGetObjProp(logger, "level", &found);
  CHECK(found && text != NULL && strcmp(text, "WARN") == 0);
  CCgFree(text);

  CHECK(CCgGetLevelFromString("debug_max") == CCG_LEVEL_DEBUG_MAX);
  CHECK(CCgPatternMatch("KZT*", "KZTCC0001E"));
  CHECK(!CCgPatternMatch("*W", "CCGWH0094W"));

  msg = CCgAllocI18Msg(NULL, 0, 0, "%2$d %1$s");
  CCgAddI18MsgParmString(msg, "x");
  CCgAddI18MsgParmInt(msg, 5);
  text = CCgBindI18Msg(msg);
  CHECK(text != NULL && strcmp(text, "5 x") == 0);
  CCgFree(text);
  CCgFreeI18Msg(msg);

  event = CCgAllocEvent(CCG_LEVEL_INFO, NULL, 0, 0, "hello %s", CCG_PARM_STRING, "world",
                        CCG_PARM_NAMED, "user", CCG_PARM_STRING, "bob", CCG_PARM_END);
  CHECK(event != NULL);
  text = CCgBindEventMsg(event, NULL);
  CHECK(text != NULL && strcmp(text, "hello world") == 0);
  CCgFree(text);
  text = CCgGetEventProp(event, "user", &found);
  CHECK(found && text != NULL && strcmp(text, "bob") == 0);
  CCgFree(text);
  CCgFreeEvent(event);

  CCgReleaseObject(logger);
  CCgCloseToolkit();
  if (failures == 0) printf("cclog.h is usable from C\n");
  return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
