// Objects of the logging toolkit: creation from classes and configurations,
// reference counts, the properties common to every object, listeners, class
// registration, and opening and closing the toolkit.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cclog.h"
#include "tests/test_util.h"
#include "tis/tis.h"

namespace {

using testutil::Take;
using testutil::Names;

using Strings = std::vector<std::string>;

// What the test classes saw; reset by the fixture.
struct Tally {
  int allocs = 0;
  int frees = 0;
  Strings closed;    // handler names, in the order they were closed
  Strings changes;   // "object:key=value" for each cfgChange
  Strings captured;  // texts that reached a "test_capture" handler
};
Tally g;



Strings ListenerNames(CCgObject *obj) { return Names(CCgGetListeners(obj)); }

std::string Prop(CCgObject *obj, const char *key) { return Take(CCgGetObjProp(obj, key, nullptr)); }

void SetCfg(const char *name, const char *key, const char *value) {
  CCgObjCfg *cfg = CCgLogMgrGetCfg(name);
  CCgSetObjCfgProp(cfg, key, value);
  CCgReleaseObjCfg(cfg);
}

// "test_handler": counts its private data and closes, records property changes.
void *CountAlloc(CCgObject *) {
  ++g.allocs;
  return new int(7);
}
void CountFree(CCgObject *, void *vars) {
  ++g.frees;
  delete static_cast<int *>(vars);
}
void RecordChange(CCgObject *obj, const char *key) {
  g.changes.push_back(Take(CCgGetObjectName(obj)) + ":" + key + "=" + Prop(obj, key));
  CCgBasicHandlerFCfgChange(obj, key);
}
void RecordClose(CCgObject *obj) { g.closed.push_back(Take(CCgGetObjectName(obj))); }

// "test_capture": keeps the text of every event it is given.
void Capture(CCgObject *, CCgEvent *event) {
  g.captured.push_back(Take(CCgBindEventMsg(event, nullptr)));
}

class ObjectTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g = Tally();
    ASSERT_TRUE(TisInit());
    TisSetMsgPath(testutil::BuildCatalogPath().c_str());
    ASSERT_TRUE(CCgOpenToolkit(nullptr));
    RegisterClasses();
    CaptureToolkitErrors();
  }
  void TearDown() override {
    CCgCloseToolkit();
    TisSetMsgPath("");
    TisShutdown();
  }

  static void RegisterClasses() {
    CCgI18Msg *desc = CCgAllocI18Msg(nullptr, 0, 0, "Counts its own life cycle");
    ASSERT_TRUE(CCgAddHandlerClass("test_handler", desc, CountAlloc, CountFree, RecordChange,
                                   nullptr, nullptr, RecordClose));
    CCgFreeI18Msg(desc);  // the class keeps its own copy
    ASSERT_TRUE(CCgAddHandlerClass("test_capture", nullptr, nullptr, nullptr, nullptr, Capture,
                                   nullptr, nullptr));
  }

  // Whatever the toolkit error logger writes also lands in g.captured.
  static void CaptureToolkitErrors() {
    CCgObject *errorLogger = CCgGetObject("cclog.errorLogger", nullptr);
    CCgObject *capture = CCgGetObject("test.errors", "test_capture");
    ASSERT_NE(errorLogger, nullptr);
    ASSERT_NE(capture, nullptr);
    CCgAddListener(errorLogger, capture);
    CCgReleaseObject(capture);
    CCgReleaseObject(errorLogger);
  }
};

TEST_F(ObjectTest, SameNameGivesSameObjectAndAnotherClassIsRefused) {
  CCgObject *a = CCgGetObject("app.obj", "test_handler");
  CCgObject *b = CCgGetObject("app.obj", "test_handler");
  CCgObject *c = CCgGetObject("app.obj", nullptr);
  ASSERT_NE(a, nullptr);
  EXPECT_TRUE(CCgAreObjectsEqual(a, b));
  EXPECT_TRUE(CCgAreObjectsEqual(a, c));
  EXPECT_EQ(Take(CCgGetObjectName(a)), "app.obj");
  EXPECT_EQ(g.allocs, 1);
  EXPECT_TRUE(g.captured.empty());

  EXPECT_EQ(CCgGetObject("app.obj", "ccg_levelfilter"), nullptr);
  EXPECT_EQ(g.captured, Strings{"CCGBC0061W Object 'app.obj' exists but is of class "
                                "'test_handler' instead of 'ccg_levelfilter' ."});

  // The refused request kept no reference: three releases end the object.
  CCgReleaseObject(a);
  CCgReleaseObject(b);
  EXPECT_TRUE(g.closed.empty());
  CCgReleaseObject(c);
  EXPECT_EQ(g.closed, Strings{"app.obj"});
}

TEST_F(ObjectTest, ClassComesFromTheInheritedConfiguration) {
  SetCfg("svc", "className", "test_handler");
  CCgObject *h = CCgGetObject("svc.out", nullptr);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(Take(CCgGetObjectClassName(h)), "test_handler");
  EXPECT_EQ(CCgGetObjectKind(h), static_cast<uint32_t>(CCG_KIND_HANDLER));
  EXPECT_EQ(g.allocs, 1);
  CCgObject *formatter = CCgGetHandlerFormatter(h);
  EXPECT_EQ(Take(CCgGetObjectName(formatter)), "cclog.defaultFormatter");
  CCgReleaseObject(formatter);
  CCgReleaseObject(h);
  EXPECT_TRUE(g.captured.empty());
}

TEST_F(ObjectTest, MissingOrUnknownClassIsReported) {
  EXPECT_EQ(CCgGetObject("lonely.thing", nullptr), nullptr);
  SetCfg("odd", "className", "no_such_class");
  EXPECT_EQ(CCgGetObject("odd.one", nullptr), nullptr);
  EXPECT_EQ(CCgGetObject("plain", "nope"), nullptr);
  EXPECT_EQ(g.captured,
            (Strings{"CCGBC0063W A class must be specified before object 'lonely.thing' can be "
                     "created.",
                     "CCGBC0062W Class 'no_such_class' must be defined before object 'odd.one' "
                     "can be created.",
                     "CCGBC0062W Class 'nope' must be defined before object 'plain' can be "
                     "created."}));
  EXPECT_EQ(g.allocs, 0);
}

TEST_F(ObjectTest, ReleasingTheLastUserReferenceDestroysTheObject) {
  CCgObject *h = CCgGetObject("h.one", "test_handler");
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(CCgAcquireObject(h), h);
  CCgReleaseObject(h);
  EXPECT_TRUE(g.closed.empty());
  EXPECT_EQ(g.frees, 0);
  CCgReleaseObject(h);
  EXPECT_EQ(g.closed, Strings{"h.one"});
  EXPECT_EQ(g.frees, 1);
  // The name is free again, even for another class.
  CCgObject *again = CCgGetObject("h.one", "ccg_levelfilter");
  EXPECT_NE(again, nullptr);
  CCgReleaseObject(again);
}

TEST_F(ObjectTest, ListenerGroupHoldsItsOwnReference) {
  CCgObject *logger = CCgGetObject("lg", "ccg_basiclogger");
  CCgObject *h = CCgGetObject("h.two", "test_handler");
  ASSERT_NE(logger, nullptr);
  ASSERT_NE(h, nullptr);
  EXPECT_TRUE(CCgAddListener(logger, h));
  EXPECT_FALSE(CCgAddListener(logger, h));  // already in the group
  CCgReleaseObject(h);
  EXPECT_TRUE(g.closed.empty());

  CCgIterator *it = CCgGetListeners(logger);
  ASSERT_TRUE(CCgIteratorHasNext(it));
  CCgObject *first = CCgIteratorGetObject(it);
  EXPECT_TRUE(CCgAreObjectsEqual(first, h));
  CCgReleaseObject(first);
  CCgIteratorNext(it);
  EXPECT_FALSE(CCgIteratorHasNext(it));
  CCgFreeIterator(it);

  EXPECT_TRUE(CCgRemListener(logger, h));
  EXPECT_EQ(g.closed, Strings{"h.two"});
  EXPECT_TRUE(ListenerNames(logger).empty());
  CCgReleaseObject(logger);
}

TEST_F(ObjectTest, LoggingPropertyTogglesOnlyOnKnownWords) {
  CCgObject *o = CCgGetObject("toggle", "ccg_basiclogger");
  ASSERT_NE(o, nullptr);
  EXPECT_TRUE(CCgIsObjectEnabled(o));
  CCgSetObjProp(o, "logging", "maybe");
  EXPECT_TRUE(CCgIsObjectEnabled(o));
  CCgSetObjProp(o, "logging", "OFF");
  EXPECT_FALSE(CCgIsObjectEnabled(o));
  EXPECT_FALSE(CCgIsLoggable(o, CCG_LEVEL_FATAL));
  CCgSetObjProp(o, "logging", "maybe");
  EXPECT_FALSE(CCgIsObjectEnabled(o));
  CCgSetObjProp(o, "logging", "True");
  EXPECT_TRUE(CCgIsObjectEnabled(o));
  CCgSetObjProp(o, "logging", "false");
  EXPECT_FALSE(CCgIsObjectEnabled(o));
  CCgSetObjProp(o, "logging", "On");
  EXPECT_TRUE(CCgIsObjectEnabled(o));
  CCgReleaseObject(o);
}

TEST_F(ObjectTest, ListenerNamesReplacesTheWholeSet) {
  SetCfg("out", "className", "test_handler");
  CCgObject *logger = CCgGetObject("fan", "ccg_basiclogger");
  ASSERT_NE(logger, nullptr);
  CCgSetObjProp(logger, "listenerNames", "out.a out.b");
  EXPECT_EQ(ListenerNames(logger), (Strings{"out.a", "out.b"}));

  CCgSetObjProp(logger, "listenerNames", " out.c\tout.a\r\n\vghost\f");
  EXPECT_EQ(ListenerNames(logger), (Strings{"out.c", "out.a"}));
  // out.b belonged to the old set only: released with it, and so closed.
  EXPECT_EQ(std::count(g.closed.begin(), g.closed.end(), "out.b"), 1);
  EXPECT_EQ(g.captured, Strings{"CCGBC0063W A class must be specified before object 'ghost' "
                                "can be created."});

  // The group's references are the only ones: the logger takes them along.
  g.closed.clear();
  CCgReleaseObject(logger);
  std::sort(g.closed.begin(), g.closed.end());
  EXPECT_EQ(g.closed, (Strings{"out.a", "out.c"}));
}

TEST_F(ObjectTest, DescriptionKeysChangeTheClassDescription) {
  CCgObject *basic = CCgGetObject("d.basic", "ccg_basiclogger");
  CCgObject *ids = CCgGetObject("d.ids", "ccg_msgidfilter");
  CCgObject *one = CCgGetObject("d.one", "test_handler");
  CCgObject *two = CCgGetObject("d.two", "test_handler");
  ASSERT_TRUE(basic && ids && one && two);
  EXPECT_EQ(Take(CCgGetObjectDesc(basic)), "Logger for basic messages");
  EXPECT_EQ(CCgGetObjectDesc(ids), nullptr);
  EXPECT_EQ(Take(CCgGetObjectDesc(one)), "Counts its own life cycle");

  // Set on one object, the description changes for every object of the class.
  CCgSetObjProp(one, "description", "Counts widgets");
  EXPECT_EQ(Take(CCgGetObjectDesc(two)), "Counts widgets");
  CCgSetObjProp(two, "descriptionFile", "ccgmsg");
  CCgSetObjProp(two, "descriptionSet", "1");
  CCgSetObjProp(two, "descriptionKey", "20");
  EXPECT_EQ(Take(CCgGetObjectDesc(one)), "CCGBC0020E Out of memory.");
  CCgSetObjProp(one, "descriptionKey", "twenty");  // does not parse: no change
  EXPECT_EQ(Take(CCgGetObjectDesc(two)), "CCGBC0020E Out of memory.");

  // A class without a description gets one made from that single field.
  CCgSetObjProp(ids, "description", "Drops repeated warnings");
  EXPECT_EQ(Take(CCgGetObjectDesc(ids)), "Drops repeated warnings");
  EXPECT_EQ(Take(CCgGetObjectDesc(basic)), "Logger for basic messages");
  for (CCgObject *o : {basic, ids, one, two}) CCgReleaseObject(o);
}

TEST_F(ObjectTest, TypedSettersWriteTextAndNotifyTheClass) {
  CCgObject *h = CCgGetObject("typed", "test_handler");
  ASSERT_NE(h, nullptr);
  g.changes.clear();
  CCgSetObjPropLong(h, "big", INT64_C(0x100000005));
  CCgSetObjPropLong(h, "ones", INT64_C(0xFFFFFFFF));
  CCgSetObjPropInt(h, "int", -42);
  CCgSetObjPropFloat(h, "float", 1.5f);
  CCgSetObjPropDouble(h, "double", 2.25);
  CCgSetObjPropBool(h, "yes", 1);
  CCgSetObjPropBool(h, "no", 0);
  CCgSetObjPropChar(h, "char", 'q');
  EXPECT_EQ(g.changes, (Strings{"typed:big=5", "typed:ones=-1", "typed:int=-42",
                                "typed:float=1.500000", "typed:double=2.250000", "typed:yes=true",
                                "typed:no=false", "typed:char=q"}));

  CCgBool found = 0;
  EXPECT_EQ(CCgGetObjPropLong(h, "ones", &found), -1);
  EXPECT_TRUE(found);
  EXPECT_EQ(CCgGetObjPropInt(h, "int", &found), -42);
  EXPECT_TRUE(found);
  EXPECT_FLOAT_EQ(CCgGetObjPropFloat(h, "float", &found), 1.5f);
  EXPECT_TRUE(found);
  EXPECT_DOUBLE_EQ(CCgGetObjPropDouble(h, "double", &found), 2.25);
  EXPECT_TRUE(found);
  EXPECT_TRUE(CCgGetObjPropBool(h, "yes", &found));
  EXPECT_TRUE(found);
  EXPECT_FALSE(CCgGetObjPropBool(h, "no", &found));
  EXPECT_TRUE(found);
  // Text that does not parse, and a missing key, are not found.
  CCgGetObjPropInt(h, "char", &found);
  EXPECT_FALSE(found);
  CCgGetObjPropBool(h, "int", &found);
  EXPECT_FALSE(found);
  EXPECT_EQ(CCgGetObjProp(h, "absent", &found), nullptr);
  EXPECT_FALSE(found);
  // A second set replaces the value.
  CCgSetObjProp(h, "int", "7");
  EXPECT_EQ(Prop(h, "int"), "7");
  CCgReleaseObject(h);
}

TEST_F(ObjectTest, ClassNamesComeInRegistrationOrder) {
  EXPECT_TRUE(CCgAddLoggerClass("test_logger", nullptr, nullptr, nullptr, nullptr, nullptr));
  EXPECT_FALSE(CCgAddLoggerClass("test_logger", nullptr, nullptr, nullptr, nullptr, nullptr));
  EXPECT_FALSE(CCgAddFilterClass("ccg_levelfilter", nullptr, nullptr, nullptr, nullptr, nullptr,
                                 nullptr, nullptr));
  EXPECT_FALSE(
      CCgAddFilterClass(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(Names(CCgGetLoggerClasses()),
            (Strings{"ccg_basiclogger", "ccg_qdlogger", "test_logger"}));
  EXPECT_EQ(Names(CCgGetFilterClasses()), (Strings{"ccg_levelfilter", "ccg_msgidfilter"}));
  EXPECT_EQ(Names(CCgGetHandlerClasses()),
            (Strings{"ccg_consolehandler", "ccg_filehandler", "ccg_hldhandler",
                     "ccg_multiproc_filehandler", "test_handler", "test_capture"}));
  EXPECT_EQ(Names(CCgGetFormatterClasses()),
            (Strings{"ccg_basicformatter", "ccg_xmlformatter", "ccg_nortraceformatter"}));

  // An application logger without a log operation dispatches like the basic one.
  CCgObject *logger = CCgGetObject("custom", "test_logger");
  CCgObject *sink = CCgGetObject("custom.sink", "test_capture");
  CCgAddListener(logger, sink);
  CCgLogError(logger, nullptr, 0, 0, "through %1$s", CCG_PARM_STRING, "custom", CCG_PARM_END);
  EXPECT_EQ(g.captured, Strings{"through custom"});
  CCgReleaseObject(sink);
  CCgReleaseObject(logger);
}

TEST_F(ObjectTest, SecondOpenReadsNoFile) {
  testutil::TempDir dir;
  const std::string file = dir.File("later.properties");
  testutil::WriteFile(file, "later.className=ccg_basiclogger\n");
  EXPECT_TRUE(CCgOpenToolkit(file.c_str()));
  EXPECT_FALSE(CCgLogMgrHasCfg("later"));
  EXPECT_TRUE(CCgOpenToolkit("/nonexistent/none.properties"));
  // The toolkit was left as it was.
  CCgObject *errorLogger = CCgGetObject("cclog.errorLogger", nullptr);
  EXPECT_EQ(ListenerNames(errorLogger), (Strings{"cclog.defaultConsole", "test.errors"}));
  CCgReleaseObject(errorLogger);
  // The file itself reads fine when asked for.
  EXPECT_TRUE(CCgLogMgrReadProps(file.c_str()));
  EXPECT_TRUE(CCgLogMgrHasCfg("later"));
}

TEST_F(ObjectTest, CloseAndOpenAgainStartsFromScratch) {
  CCgObject *kept = CCgGetObject("keep.me", "ccg_basiclogger");  // freed by the close
  ASSERT_NE(kept, nullptr);
  SetCfg("keep", "level", "ERROR");
  CCgObject *errorLogger = CCgGetObject("cclog.errorLogger", nullptr);
  CCgSetObjProp(errorLogger, "level", "OFF");
  CCgReleaseObject(errorLogger);

  CCgCloseToolkit();
  ASSERT_TRUE(CCgOpenToolkit(nullptr));
  EXPECT_FALSE(CCgLogMgrHasCfg("keep"));
  CCgObject *fresh = CCgGetObject("keep.me", "ccg_levelfilter");
  EXPECT_NE(fresh, nullptr);
  CCgReleaseObject(fresh);
  errorLogger = CCgGetObject("cclog.errorLogger", nullptr);
  EXPECT_EQ(CCgGetObjectLevel(errorLogger), CCG_LEVEL_DEBUG_MIN);
  EXPECT_EQ(Take(CCgGetObjectClassName(errorLogger)), "ccg_basiclogger");
  EXPECT_EQ(ListenerNames(errorLogger), Strings{"cclog.defaultConsole"});
  CCgReleaseObject(errorLogger);
  // Application classes went with the close.
  EXPECT_EQ(CCgGetObject("gone", "test_handler"), nullptr);
  EXPECT_EQ(Names(CCgGetHandlerClasses()).back(), "ccg_multiproc_filehandler");
}

TEST_F(ObjectTest, LoggingWithoutListenersIsReported) {
  CCgObject *lonely = CCgGetObject("app.lonely", "ccg_basiclogger");
  ASSERT_NE(lonely, nullptr);
  CCgLogText(lonely, "hello", CCG_PARM_END);
  EXPECT_EQ(g.captured,
            Strings{"CCGLG01E No listeners are registered with the logger app.lonely."});
  CCgObject *h = CCgGetObject("h.quiet", "test_handler");
  CCgAddListener(lonely, h);
  CCgLogText(lonely, "again", CCG_PARM_END);
  EXPECT_EQ(g.captured.size(), 1u);
  CCgReleaseObject(h);
  CCgReleaseObject(lonely);
}

TEST(ToolkitOpen, ErrorLoggerMadeBeforeOpeningIsKept) {
  g = Tally();
  ASSERT_TRUE(CCgAddHandlerClass("early_capture", nullptr, nullptr, nullptr, nullptr, Capture,
                                 nullptr, nullptr));
  CCgObject *mine = CCgGetObject("cclog.errorLogger", "ccg_basiclogger");
  CCgObject *capture = CCgGetObject("early.capture", "early_capture");
  ASSERT_TRUE(mine && capture);
  CCgAddListener(mine, capture);
  CCgReleaseObject(capture);
  ASSERT_TRUE(CCgOpenToolkit(nullptr));
  // No default console is added: the application's logger stays as it was.
  EXPECT_EQ(ListenerNames(mine), Strings{"early.capture"});
  EXPECT_EQ(CCgGetObject("nothing.here", nullptr), nullptr);
  EXPECT_EQ(g.captured, Strings{"CCGBC0063W A class must be specified before object "
                                "'nothing.here' can be created."});
  CCgReleaseObject(mine);
  CCgCloseToolkit();
}

TEST(ToolkitOpen, PropertiesFileConfiguresTheErrorLogger) {
  testutil::TempDir dir;
  const std::string file = dir.File("log.properties");
  testutil::WriteFile(file,
                      "# error logger with a second listener\n"
                      "cclog.errorLogger.level = OFF\n"
                      "cclog.errorLogger.listenerNames = extra.console\n"
                      "extra.console.className = ccg_consolehandler\n");
  ASSERT_TRUE(CCgOpenToolkit(file.c_str()));
  CCgObject *errorLogger = CCgGetObject("cclog.errorLogger", nullptr);
  ASSERT_NE(errorLogger, nullptr);
  EXPECT_EQ(Take(CCgGetObjectClassName(errorLogger)), "ccg_basiclogger");
  EXPECT_EQ(CCgGetObjectLevel(errorLogger), CCG_LEVEL_OFF);
  EXPECT_EQ(ListenerNames(errorLogger), (Strings{"extra.console", "cclog.defaultConsole"}));
  CCgReleaseObject(errorLogger);
  CCgCloseToolkit();
}

TEST(ToolkitOpen, UnreadablePropertiesFileFailsTheOpen) {
  testutil::TempDir dir;
  const std::string file = dir.File("bad.properties");
  testutil::WriteFile(file, "early.k = 1\nnodot = 1\n");
  testing::internal::CaptureStderr();
  EXPECT_FALSE(CCgOpenToolkit(file.c_str()));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "CCG0051E The log manager could not read the properties file " + file + ".\n");
  // Nothing of the failed open is left; a later open starts clean.
  ASSERT_TRUE(CCgOpenToolkit(nullptr));
  EXPECT_FALSE(CCgLogMgrHasCfg("early"));
  CCgCloseToolkit();
}

TEST(ToolkitOpen, ClassesRegisteredBeforeOpeningFollowTheBuiltIns) {
  ASSERT_TRUE(CCgAddHandlerClass("early_handler", nullptr, nullptr, nullptr, nullptr, nullptr,
                                 nullptr, nullptr));
  ASSERT_TRUE(CCgOpenToolkit(nullptr));
  EXPECT_EQ(Names(CCgGetHandlerClasses()),
            (Strings{"ccg_consolehandler", "ccg_filehandler", "ccg_hldhandler",
                     "ccg_multiproc_filehandler", "early_handler"}));
  CCgObject *errorLogger = CCgGetObject("cclog.errorLogger", nullptr);
  ASSERT_NE(errorLogger, nullptr);
  EXPECT_EQ(Take(CCgGetObjectClassName(errorLogger)), "ccg_basiclogger");
  EXPECT_EQ(ListenerNames(errorLogger), Strings{"cclog.defaultConsole"});
  CCgReleaseObject(errorLogger);
  CCgCloseToolkit();
}

}  // namespace
