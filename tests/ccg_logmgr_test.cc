// The configuration tree of the log manager: dotted-name parents, inheritance,
// removal and update, and applying configurations to objects.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cclog.h"
#include "tests/test_util.h"

namespace {

using testutil::Take;
using testutil::Names;

using Strings = std::vector<std::string>;

Strings g_changes;  // "key=value" for each cfgChange of a "test_watch" object



void WatchChange(CCgObject *obj, const char *key) {
  g_changes.push_back(std::string(key) + "=" + Take(CCgGetObjProp(obj, key, nullptr)));
  CCgBasicHandlerFCfgChange(obj, key);
}

class LogMgrTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_changes.clear();
    ASSERT_TRUE(CCgOpenToolkit(nullptr));
    ASSERT_TRUE(CCgAddHandlerClass("test_watch", nullptr, nullptr, nullptr, WatchChange, nullptr,
                                   nullptr, nullptr));
  }
  void TearDown() override {
    for (CCgObjCfg *cfg : held_) CCgReleaseObjCfg(cfg);
    CCgCloseToolkit();
  }

  // The configuration of that name (made when missing), released at tear-down.
  CCgObjCfg *Cfg(const char *name) {
    CCgObjCfg *cfg = CCgLogMgrGetCfg(name);
    held_.push_back(cfg);
    return cfg;
  }
  static std::string ParentName(CCgObjCfg *cfg) {
    CCgObjCfg *parent = CCgObjCfgGetParent(cfg);
    std::string name = parent != nullptr ? Take(CCgObjCfgGetName(parent)) : "<root>";
    CCgReleaseObjCfg(parent);
    return name;
  }
  static Strings Children(CCgObjCfg *cfg) { return Names(CCgObjCfgChildrenNames(cfg)); }
  static std::string Inherited(CCgObjCfg *cfg, const char *key) {
    CCgBool found = 1;
    std::string v = Take(CCgGetInheritedObjCfgProp(cfg, key, &found));
    return found ? v : "<not found>";
  }

  std::vector<CCgObjCfg *> held_;
};

TEST_F(LogMgrTest, RootHasNoConfiguration) {
  EXPECT_EQ(CCgLogMgrGetCfg("/"), nullptr);
  EXPECT_EQ(CCgLogMgrGetCfg(nullptr), nullptr);
  EXPECT_FALSE(CCgLogMgrHasCfg("/"));
  CCgObject *obj = CCgGetObject("root.user", "test_watch");
  EXPECT_FALSE(CCgLogMgrApplyCfg(obj, "/"));
  EXPECT_FALSE(CCgLogMgrApplyCfg(nullptr, "root.user"));
  EXPECT_TRUE(CCgLogMgrApplyCfg(obj, "root.user"));
  CCgReleaseObject(obj);
}

TEST_F(LogMgrTest, DottedNameGoesUnderTheNearestExistingConfiguration) {
  CCgObjCfg *a = Cfg("a");
  CCgObjCfg *ab = Cfg("a.b");
  CCgObjCfg *abc = Cfg("a.b.c");
  CCgObjCfg *axy = Cfg("a.x.y");  // "a.x" does not exist
  EXPECT_EQ(ParentName(a), "<root>");
  EXPECT_EQ(ParentName(ab), "a");
  EXPECT_EQ(ParentName(abc), "a.b");
  EXPECT_EQ(ParentName(axy), "a");
  EXPECT_EQ(Children(a), (Strings{"a.b", "a.x.y"}));
  EXPECT_EQ(Children(ab), Strings{"a.b.c"});
  EXPECT_FALSE(CCgLogMgrHasCfg("a.x"));
  // A configuration added between them later does not take the child over.
  CCgObjCfg *ax = Cfg("a.x");
  CCgSetObjCfgProp(a, "k", "from a");
  CCgSetObjCfgProp(ax, "k", "from a.x");
  EXPECT_EQ(ParentName(ax), "a");
  EXPECT_EQ(ParentName(axy), "a");
  EXPECT_EQ(Children(a), (Strings{"a.b", "a.x.y", "a.x"}));
  EXPECT_TRUE(Children(ax).empty());
  EXPECT_EQ(Inherited(axy, "k"), "from a");
  // Asking again gives the same configuration.
  CCgObjCfg *again = Cfg("a.b");
  EXPECT_EQ(again, ab);
}

TEST_F(LogMgrTest, ParentAddedLaterDoesNotAdoptExistingChildren) {
  CCgObjCfg *pq = Cfg("p.q");
  CCgObjCfg *p = Cfg("p");
  CCgSetObjCfgProp(p, "color", "red");
  CCgSetObjCfgProp(p, "className", "test_watch");
  EXPECT_EQ(ParentName(pq), "<root>");
  EXPECT_TRUE(Children(p).empty());
  EXPECT_EQ(Inherited(pq, "color"), "<not found>");
  EXPECT_EQ(Inherited(pq, "className"), "<not found>");
  // Hence no class for an object p.q, while a p.r made now gets p's class.
  EXPECT_EQ(CCgGetObject("p.q", nullptr), nullptr);
  CCgObject *pr = CCgGetObject("p.r", nullptr);
  ASSERT_NE(pr, nullptr);
  EXPECT_EQ(Take(CCgGetObjectClassName(pr)), "test_watch");
  EXPECT_EQ(Take(CCgGetObjProp(pr, "color", nullptr)), "red");
  CCgReleaseObject(pr);
}

TEST_F(LogMgrTest, OverriddenPropertyReachesTheObjectAfterTheAncestors) {
  CCgObjCfg *w = Cfg("w");
  CCgObjCfg *wx = Cfg("w.x");
  CCgSetObjCfgProp(w, "className", "test_watch");
  CCgSetObjCfgProp(w, "color", "red");
  CCgSetObjCfgProp(w, "size", "1");
  CCgSetObjCfgProp(wx, "color", "blue");
  CCgObject *obj = CCgGetObject("w.x", nullptr);
  ASSERT_NE(obj, nullptr);
  EXPECT_EQ(Take(CCgGetObjProp(obj, "color", nullptr)), "blue");
  EXPECT_EQ(Take(CCgGetObjProp(obj, "size", nullptr)), "1");
  // The class is told of "color" twice: the ancestor's value, then the override.
  EXPECT_EQ(g_changes, (Strings{"className=test_watch", "color=red", "size=1", "color=blue"}));

  // A later change reaches the object only when applied.
  g_changes.clear();
  CCgSetObjCfgPropInt(wx, "size", 2);
  EXPECT_EQ(Take(CCgGetObjProp(obj, "size", nullptr)), "1");
  EXPECT_TRUE(g_changes.empty());
  EXPECT_TRUE(CCgLogMgrApplyCfg(obj, "w.x"));
  EXPECT_EQ(Take(CCgGetObjProp(obj, "size", nullptr)), "2");
  EXPECT_EQ(g_changes, (Strings{"className=test_watch", "color=red", "size=1", "color=blue",
                                "size=2"}));
  CCgReleaseObject(obj);
}

TEST_F(LogMgrTest, InheritedPropertyComesFromTheNearestAncestor) {
  CCgObjCfg *r = Cfg("r");
  CCgObjCfg *rs = Cfg("r.s");
  CCgObjCfg *rst = Cfg("r.s.t");
  CCgSetObjCfgProp(r, "k", "from r");
  CCgSetObjCfgProp(r, "j", "only r");
  CCgSetObjCfgProp(rs, "k", "from r.s");
  EXPECT_EQ(Inherited(rst, "k"), "from r.s");
  EXPECT_EQ(Inherited(rst, "j"), "only r");
  EXPECT_EQ(Inherited(rst, "none"), "<not found>");
  CCgBool found = 1;
  EXPECT_EQ(CCgGetObjCfgProp(rst, "k", &found), nullptr);  // not its own
  EXPECT_FALSE(found);
  // Typed setters write the same text as for objects.
  CCgSetObjCfgPropLong(rs, "long", INT64_C(0x100000005));
  EXPECT_EQ(Inherited(rst, "long"), "5");
  EXPECT_EQ(CCgGetObjCfgPropLong(rs, "long", &found), 5);
  EXPECT_TRUE(found);
}

TEST_F(LogMgrTest, RemovingAConfigurationMovesItsChildrenToItsParent) {
  CCgObjCfg *a = Cfg("a");
  CCgObjCfg *ab = Cfg("a.b");
  CCgObjCfg *abc = Cfg("a.b.c");
  CCgObjCfg *abd = Cfg("a.b.d");
  CCgSetObjCfgProp(a, "k", "from a");
  CCgSetObjCfgProp(ab, "k", "from a.b");
  EXPECT_EQ(Inherited(abc, "k"), "from a.b");

  CCgLogMgrRemCfg(ab);
  EXPECT_FALSE(CCgLogMgrHasCfg("a.b"));
  EXPECT_EQ(ParentName(abc), "a");
  EXPECT_EQ(ParentName(abd), "a");
  EXPECT_EQ(Children(a), (Strings{"a.b.c", "a.b.d"}));
  EXPECT_EQ(Inherited(abc, "k"), "from a");
  // The removed configuration keeps its own parent name.
  EXPECT_EQ(ParentName(ab), "a");
  Strings names = Names(CCgLogMgrConfigNames());
  EXPECT_EQ(std::count(names.begin(), names.end(), "a.b"), 0);
  EXPECT_EQ(std::count(names.begin(), names.end(), "a.b.c"), 1);
}

TEST_F(LogMgrTest, ConfigurationNamesComeInOrderOfAddition) {
  const Strings before = Names(CCgLogMgrConfigNames());
  Cfg("z");
  Cfg("m");
  Cfg("a.b");
  Cfg("m");
  CCgObjCfg *own = CCgAllocObjCfg("c");
  EXPECT_FALSE(CCgLogMgrHasCfg("c"));  // not in the tree until added
  CCgLogMgrAddCfg(own);
  CCgLogMgrAddCfg(own);  // already there
  CCgReleaseObjCfg(own);
  Strings expected = before;
  for (const char *n : {"z", "m", "a.b", "c"}) expected.push_back(n);
  EXPECT_EQ(Names(CCgLogMgrConfigNames()), expected);

  // An update is a removal and an addition: the name moves to the end.
  CCgObjCfg *z = Cfg("z");
  CCgLogMgrUpdateCfg(z);
  expected.erase(std::find(expected.begin(), expected.end(), "z"));
  expected.push_back("z");
  EXPECT_EQ(Names(CCgLogMgrConfigNames()), expected);
  EXPECT_TRUE(CCgLogMgrHasCfg("z"));
}

TEST_F(LogMgrTest, UpdateKeepsTheConfigurationUnderItsParent) {
  CCgObjCfg *a = Cfg("a");
  CCgObjCfg *ab = Cfg("a.b");
  CCgSetObjCfgProp(a, "k", "from a");
  CCgLogMgrUpdateCfg(ab);
  EXPECT_TRUE(CCgLogMgrHasCfg("a.b"));
  EXPECT_EQ(ParentName(ab), "a");
  EXPECT_EQ(Children(a), Strings{"a.b"});
  EXPECT_EQ(Inherited(ab, "k"), "from a");
}

}  // namespace
