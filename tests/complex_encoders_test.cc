// The complex-type encoders: each record type with all fields and with only
// its required ones, both has-a-value forms, record arrays with failing
// items, and the two base-element forms of the root.
#include "cbe/complex_encoders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>
#include <xercesc/util/TransService.hpp>

#include "tests/capis_test_util.h"

// Allocation failures on demand: while gFailAbove is set, every operator new
// of more than that many bytes throws. The DOM layer converts long texts in
// heap buffers, so a record holding a text that long fails where it is
// written while everything around it is allocated normally.
namespace {
std::atomic<size_t> gFailAbove{0};
void *Allocate(size_t size) {
  size_t limit = gFailAbove.load(std::memory_order_relaxed);
  if (limit != 0 && size > limit) throw std::bad_alloc();
  void *p = std::malloc(size != 0 ? size : 1);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}
void *AllocateNoThrow(size_t size) noexcept {
  try {
    return Allocate(size);
  } catch (...) {
    return nullptr;
  }
}
}  // namespace
void *operator new(size_t size) { return Allocate(size); }
void *operator new[](size_t size) { return Allocate(size); }
void *operator new(size_t size, const std::nothrow_t &) noexcept { return AllocateNoThrow(size); }
void *operator new[](size_t size, const std::nothrow_t &) noexcept { return AllocateNoThrow(size); }
void operator delete(void *p) noexcept { std::free(p); }
void operator delete[](void *p) noexcept { std::free(p); }
void operator delete(void *p, size_t) noexcept { std::free(p); }
void operator delete[](void *p, size_t) noexcept { std::free(p); }
void operator delete(void *p, const std::nothrow_t &) noexcept { std::free(p); }
void operator delete[](void *p, const std::nothrow_t &) noexcept { std::free(p); }

namespace {

char *S(const char *s) { return const_cast<char *>(s); }

std::string U8(const XMLCh *s) {
  return s == nullptr ? "" : reinterpret_cast<const char *>(xc::TranscodeToStr(s, "UTF-8").str());
}
std::string AttrOf(const xc::DOMElement *e, const char *name) {
  return U8(e->getAttribute(std::u16string(name, name + strlen(name)).c_str()));
}

// A data element in one line: name, ":type" unless "string", "=" and its
// "values" texts (with `values`), then its "children" in braces.
std::string Summary(const xc::DOMElement *e, bool values = true) {
  std::string out = AttrOf(e, "name"), type = AttrOf(e, "type"), texts, kids;
  if (type != "string") out += ":" + type;
  if (e->getAttributes()->getLength() != 2) out += "!attrs";
  for (const xc::DOMElement *c = e->getFirstElementChild(); c != nullptr; c = c->getNextElementSibling()) {
    std::string tag = U8(c->getTagName());
    if (tag == "values") {
      texts += (texts.empty() ? "=" : ",") + U8(c->getTextContent());
    } else {
      kids += (kids.empty() ? "" : " ") + (tag == "children" ? Summary(c, values) : "<" + tag + ">");
    }
  }
  return out + (values ? texts : "") + (kids.empty() ? "" : "{" + kids + "}");
}

class EncoderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(tc.ctx, nullptr);
    doc = createDocument(tc.ctx, "CommonBaseEvent", &r);
    ASSERT_NE(doc, nullptr);
  }
  void TearDown() override {
    deleteDocument(tc.ctx, doc, &r);
    ZOVEXA_Result_Clean(&r);
  }
  xc::DOMElement *Target() { return createElement(tc.ctx, doc, "extendedDataElements", &r); }

  TestContext tc{{StrProp("elementCodeSet", "UTF8")}};
  ZOVEXA_result r{};
  xc::DOMDocument *doc = nullptr;
};

char *kTwo[] = {S("a"), S("b"), nullptr};
char *kOne[] = {S("c"), nullptr};
char *kNone[] = {nullptr};
ZOVEXA_Attribute kAttrFull{S("an"), S("av"), S("as")}, kAttrMin{S("bn"), S("bv"), nullptr};
ZOVEXA_Attribute *kAttrs[] = {&kAttrFull, &kAttrMin, nullptr};
#define ATTRS " attributes:noValue{name value source} attributes:noValue{name value}"
ZOVEXA_AttributePermissionInfo kApiFull{kTwo, kOne, kTwo, kOne}, kApiMin{kTwo, kOne, kNone, nullptr};
ZOVEXA_ComponentId kCidFull{S("h"), S("IPV4"), S("a"), S("e"), S("c"), S("t"),
                            S("i"), S("s"),    S("n"), S("p"), S("t")};
ZOVEXA_ComponentId kCidMin{S("h"), S("IPV4"), S("a"),  nullptr, S("c"), S("t"),
                           S("i"), S("s"),    nullptr, nullptr, nullptr};
ZOVEXA_HTTPURLInfo kUrlFull{S("u"), S("GET"), S("q"), S("s"), 404},
    kUrlMin{S("u"), S("GET"), nullptr, nullptr, 0};
ZOVEXA_MembershipInfo kMemFull{S("group"), S("g7"), S("admins")}, kMemMin{S("role"), nullptr, S("ops")};
ZOVEXA_TargetInfo kTgtFull{kTwo, kAttrs}, kTgtMin{kOne, nullptr};
ZOVEXA_MgmtInfo kMgmtFull{&kTgtFull, S("cmd")}, kMgmtMin{nullptr, nullptr};
ZOVEXA_MsgDataElement kMsgFull{S("i"), S("it"), S("ci"), S("c"), S("ct"), S("l"), kTwo};
ZOVEXA_MsgDataElement kMsgMin{nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, kNone};
ZOVEXA_Outcome kOutFull{S("UNSUCCESSFUL"), 3, -4, S("f")}, kOutMin{S("SUCCESSFUL"), 0, 0, nullptr};
ZOVEXA_PerfInfo kPerf{S("p"), S("d"), 5, S("ms"), 9000000000LL, -2, 7, S("avg")};
ZOVEXA_PolicyInfo kPolFull{S("n"), S("b"), S("t"), S("d"), kAttrs},
    kPolMin{S("n"), nullptr, S("t"), nullptr, nullptr};
ZOVEXA_PermissionInfo kPermFull{kOne, kTwo, kOne, kOne, kOne},
    kPermMin{kOne, kNone, nullptr, nullptr, nullptr};
ZOVEXA_ProvisioningInfo kProvFull{S("a"), S("r"), S("t")}, kProvMin{nullptr, S("r"), nullptr};
ZOVEXA_RegistryInfo kReg{S("LDAP"), S("h"), S("IPV4"), S("389")};
ZOVEXA_RegistryObjectInfo kRoFull{S("n"), S("r"), S("t"), S("d"), kAttrs},
    kRoMin{S("n"), nullptr, S("t"), nullptr, nullptr};
ZOVEXA_ResourceInfo kResFull{S("a"), S("p"), S("t"), kAttrs}, kResMin{S("a"), S("p"), S("t"), nullptr};
ZOVEXA_UserInfo kUserFull{S("r"), S("a"), S("d"), S("m"), S("l"), S("IPV4"), S("s"), 1001, kTwo, kAttrs};
ZOVEXA_UserInfo kUserMin{S("r"), S("a"), nullptr, nullptr, nullptr, nullptr, nullptr, 0, nullptr, nullptr};
ZOVEXA_WorkItemInfo kWorkFull{S("w"), S("t")}, kWorkMin{nullptr, S("t")};

using Encoder = int (*)(const ZOVEXA_AuditClientContext *, xc::DOMDocument *, xc::DOMElement *, const char *,
                        uint32_t, const void *, ZOVEXA_result *);
template <typename R, int (*F)(const ZOVEXA_AuditClientContext *, xc::DOMDocument *, xc::DOMElement *,
                               const char *, uint32_t, const R *, ZOVEXA_result *)>
int Named(const ZOVEXA_AuditClientContext *c, xc::DOMDocument *d, xc::DOMElement *t, const char *n,
          uint32_t f, const void *rec, ZOVEXA_result *r) {
  return F(c, d, t, n, f, static_cast<const R *>(rec), r);
}
#define ROW(type, R, record, ...) \
  { type, Named<ZOVEXA_##R, build##R>, &record, __VA_ARGS__ }

// Value type, the type's own encoder, record, type string, children.
const struct {
  uint32_t valueType;
  Encoder named;
  const void *record;
  const char *typeString;
  const char *children;
} kRecordCases[] = {
    ROW(5, Attribute, kAttrFull, "Attribute", "name value source"),
    ROW(5, Attribute, kAttrMin, "Attribute", "name value"),
    ROW(6, AttributePermissionInfo, kApiFull, "AttributePermissionInfo",
        "attributeNames:stringArray checked:stringArray granted:stringArray denied:stringArray"),
    ROW(6, AttributePermissionInfo, kApiMin, "AttributePermissionInfo",
        "attributeNames:stringArray checked:stringArray"),
    ROW(7, ComponentId, kCidFull, "ComponentID",
        "location locationType application executionEnvironment component componentType componentIdType "
        "subComponent instanceId processId threadId"),
    ROW(7, ComponentId, kCidMin, "ComponentID",
        "location locationType application component componentType componentIdType subComponent"),
    ROW(8, HTTPURLInfo, kUrlFull, "HTTPURLInfo",
        "url method requestHeaders responseHeaders responseCode:int"),
    ROW(8, HTTPURLInfo, kUrlMin, "HTTPURLInfo", "url method responseCode:int"),
    ROW(9, MembershipInfo, kMemFull, "MembershipInfo", "type id name"),
    ROW(9, MembershipInfo, kMemMin, "MembershipInfo", "type name"),
    ROW(10, MgmtInfo, kMgmtFull, "MgmtInfo", "targetInfo:noValue{targetNames:stringArray" ATTRS "} command"),
    ROW(10, MgmtInfo, kMgmtMin, "MgmtInfo", ""),
    // Message data announces itself as management info.
    ROW(11, MsgDataElement, kMsgFull, "MgmtInfo",
        "msgId msgIdType msgCatalogId msgCatalog msgCatalogType msgLocale msgCatalogTokens:stringArray"),
    ROW(11, MsgDataElement, kMsgMin, "MgmtInfo", ""),
    ROW(12, Outcome, kOutFull, "Outcome", "result majorStatus:int minorStatus:int failureReason"),
    ROW(12, Outcome, kOutMin, "Outcome", "result majorStatus:int minorStatus:int"),
    ROW(13, PerfInfo, kPerf, "PerfInfo",  // every string field is required
        "name description numDataPoints:int unit maxValue:long minValue:long value:long aggregate"),
    ROW(14, PolicyInfo, kPolFull, "PolicyInfo", "name branch type description" ATTRS),
    ROW(14, PolicyInfo, kPolMin, "PolicyInfo", "name type"),
    ROW(15, PermissionInfo, kPermFull, "PermissionInfo",
        "checked:stringArray granted:stringArray denied:stringArray J2EERolesChecked:stringArray "
        "J2EERolesGranted:stringArray"),
    ROW(15, PermissionInfo, kPermMin, "PermissionInfo", "checked:stringArray"),
    ROW(16, ProvisioningInfo, kProvFull, "ProvisioningInfo", "accountId resourceId resourceType"),
    ROW(16, ProvisioningInfo, kProvMin, "ProvisioningInfo", "resourceId"),
    ROW(17, RegistryInfo, kReg, "RegistryInfo",  // every field is required
        "type serverLocation serverLocationType serverPort"),
    ROW(18, RegistryObjectInfo, kRoFull, "RegistryObjectInfo", "name registryName type description" ATTRS),
    ROW(18, RegistryObjectInfo, kRoMin, "RegistryObjectInfo", "name type"),
    ROW(19, ResourceInfo, kResFull, "ResourceInfo", "nameInApp nameInPolicy type" ATTRS),
    ROW(19, ResourceInfo, kResMin, "ResourceInfo", "nameInApp nameInPolicy type"),
    ROW(20, TargetInfo, kTgtFull, "TargetInfo", "targetNames:stringArray" ATTRS),
    ROW(20, TargetInfo, kTgtMin, "TargetInfo", "targetNames:stringArray"),
    ROW(21, UserInfo, kUserFull, "UserInfo",
        "registryUserName appUserName domain realm location locationType sessionId uniqueId:int "
        "callerList:stringArray" ATTRS),
    ROW(21, UserInfo, kUserMin, "UserInfo", "registryUserName appUserName uniqueId:int"),
    ROW(22, WorkItemInfo, kWorkFull, "WorkItemInfo", "id type"),
    ROW(22, WorkItemInfo, kWorkMin, "WorkItemInfo", "type"),
};

TEST_F(EncoderTest, EveryRecordTypeWritesItsTypeStringAndFieldsInOrder) {
  for (const auto &c : kRecordCases) {
    SCOPED_TRACE(std::string(c.typeString) + ": " + c.children);
    std::string kids = *c.children ? std::string("{") + c.children + "}" : "";
    // As an element's own value, through the dispatch by value type.
    xc::DOMElement *target = Target();
    ASSERT_EQ(buildComplexType(tc.ctx, doc, target, "rec", 1, c.valueType, c.record, &r), 0);
    EXPECT_EQ(Summary(target, false), "rec" + kids);
    std::string full = Summary(target);
    EXPECT_EQ(full.substr(0, full.find('{')), std::string("rec=VEXAComplexType:VEXAAudit") + c.typeString);
    // Inside an array or a record, through the type's own encoder.
    target = Target();
    ASSERT_EQ(c.named(tc.ctx, doc, target, "value", 0, c.record, &r), 0);
    EXPECT_EQ(Summary(target, false), "value:noValue" + kids);
  }
  // Values: strings as they are, numbers always (also 0), arrays one per entry.
  xc::DOMElement *target = Target();
  ZOVEXA_UserInfo empty{};
  ASSERT_EQ(buildUserInfo(tc.ctx, doc, target, "u", 1, &empty, &r), 0);
  EXPECT_EQ(Summary(target), "u=VEXAComplexType:VEXAAuditUserInfo{uniqueId:int=0}");
  ASSERT_EQ(buildPerfInfo(tc.ctx, doc, target = Target(), "p", 0, &kPerf, &r), 0);
  EXPECT_EQ(Summary(target),
            "p:noValue{name=p description=d numDataPoints:int=5 unit=ms "
            "maxValue:long=9000000000 minValue:long=-2 value:long=7 aggregate=avg}");
  ASSERT_EQ(buildMgmtInfo(tc.ctx, doc, target = Target(), "m", 0, &kMgmtFull, &r), 0);
  EXPECT_EQ(Summary(target),
            "m:noValue{targetInfo:noValue{targetNames:stringArray=a,b attributes:noValue{"
            "name=an value=av source=as} attributes:noValue{name=bn value=bv}} command=cmd}");
  // Not a record: nothing is written.
  EXPECT_EQ(buildComplexType(tc.ctx, doc, target = Target(), "x", 1, VEXA_VT_USER_INFO, nullptr, &r), -1);
  EXPECT_EQ(buildComplexType(tc.ctx, doc, target, "x", 1, VEXA_VT_ATTRIBUTE_ARRAY, &empty, &r), -1);
  EXPECT_FALSE(target->hasAttributes());
  EXPECT_EQ(r.count, 0);
}

TEST_F(EncoderTest, ArraysWriteOneChildPerItem) {
  ZOVEXA_AttributePermissionInfo *apis[] = {&kApiMin, nullptr};
  ZOVEXA_MembershipInfo *members[] = {&kMemFull, &kMemMin, nullptr};
  ZOVEXA_PolicyInfo *policies[] = {&kPolMin, nullptr}, *none[] = {nullptr};
  const struct {
    uint32_t valueType, hasValue;
    const void *array;
    const char *expected;
  } cases[] = {
      {23, 1, kAttrs,
       "a=VEXAComplexType:VEXAAuditAttributeArray{attributes:noValue{name=an value=av source=as} "
       "attributes:noValue{name=bn value=bv}}"},
      {24, 1, apis,
       "a=VEXAComplexType:VEXAAuditAttributePermissionInfoArray{value:noValue{attributeNames:stringArray=a,b "
       "checked:stringArray=c}}"},
      {25, 1, members,
       "a=VEXAComplexType:VEXAAuditMembershipInfoArray{value:noValue{type=group id=g7 name=admins} "
       "value:noValue{type=role name=ops}}"},
      {26, 0, policies, "a:noValue{value:noValue{name=n type=t}}"},
      {26, 1, none, "a=VEXAComplexType:VEXAAuditPolicyInfoArray"},
  };
  for (const auto &c : cases) {
    xc::DOMElement *target = Target();
    EXPECT_EQ(createElementArray(tc.ctx, doc, target, "a", c.hasValue, c.valueType, c.array, &r), 0);
    EXPECT_EQ(Summary(target), c.expected);
  }
  // A NULL name or array writes nothing; another value type is message 14.
  xc::DOMElement *target = Target();
  EXPECT_EQ(createElementArray(tc.ctx, doc, target, nullptr, 1, 26, policies, &r), 0);
  EXPECT_EQ(createElementArray(tc.ctx, doc, target, "a", 1, 26, nullptr, &r), 0);
  EXPECT_EQ(r.count, 0);
  for (uint32_t type : {14u, 27u}) {
    EXPECT_EQ(createElementArray(tc.ctx, doc, target, "arr", 1, type, policies, &r), -1);
    ASSERT_EQ(OnlyCode(r), 14u);
    EXPECT_NE(Texts(r)[0].find("arr , has a value type that is not valid: " + std::to_string(type)),
              std::string::npos);
    ZOVEXA_Result_Clean(&r);
  }
  EXPECT_FALSE(target->hasAttributes());
}

TEST_F(EncoderTest, AFailingArrayItemIsLeftOutAndTheLastItemDecides) {
  constexpr size_t kLimit = 1 << 20;
  std::string huge(kLimit, 'h');  // its UTF-16 form cannot be allocated while armed
  ZOVEXA_MembershipInfo bad{S("group"), nullptr, huge.data()};
  ZOVEXA_MembershipInfo *middle[] = {&kMemFull, &bad, &kMemMin, nullptr};
  ZOVEXA_MembershipInfo *last[] = {&kMemFull, &kMemMin, &bad, nullptr};
  ZOVEXA_MembershipInfo *only[] = {&bad, nullptr};
  const char kTwoItems[] = "{value:noValue{type=group id=g7 name=admins} value:noValue{type=role name=ops}}";
  const struct {
    ZOVEXA_MembershipInfo **array;
    int rc;
    std::string items;
  } cases[] = {{middle, 0, kTwoItems}, {last, -1, kTwoItems}, {only, -1, ""}};
  for (const auto &c : cases) {
    xc::DOMElement *target = Target();
    gFailAbove = kLimit;
    int rc = createElementArray(tc.ctx, doc, target, "m", 1, VEXA_VT_MEMBERSHIP_INFO_ARRAY, c.array, &r);
    gFailAbove = 0;
    EXPECT_EQ(rc, c.rc);
    EXPECT_EQ(Summary(target), "m=VEXAComplexType:VEXAAuditMembershipInfoArray" + c.items);
    EXPECT_EQ(Codes(r), std::vector<uint32_t>{1});  // out of memory, from the failing item only
    ZOVEXA_Result_Clean(&r);
  }
  // A failing attribute is left out and does not fail its record.
  ZOVEXA_Attribute badAttr{S("big"), huge.data(), nullptr};
  ZOVEXA_Attribute *attrs[] = {&badAttr, &kAttrMin, nullptr};
  ZOVEXA_ResourceInfo resource{S("a"), S("p"), S("t"), attrs};
  xc::DOMElement *target = Target();
  gFailAbove = kLimit;
  EXPECT_EQ(buildResourceInfo(tc.ctx, doc, target, "res", 0, &resource, &r), 0);
  gFailAbove = 0;
  EXPECT_EQ(Summary(target),
            "res:noValue{nameInApp=a nameInPolicy=p type=t attributes:noValue{name=bn value=bv}}");
}

// Tag, sorted attributes and text of an element and of its children.
std::string Shape(const xc::DOMElement *e) {
  std::vector<std::string> attrs;
  xc::DOMNamedNodeMap *map = e->getAttributes();
  for (XMLSize_t i = 0; i < map->getLength(); ++i)
    attrs.push_back(U8(map->item(i)->getNodeName()) + "=" + U8(map->item(i)->getNodeValue()));
  std::sort(attrs.begin(), attrs.end());
  std::string out = U8(e->getTagName()) + "[";
  for (const std::string &a : attrs) out += (out.back() == '[' ? "" : " ") + a;
  out += "]";
  std::string kids;
  for (const xc::DOMNode *c = e->getFirstChild(); c != nullptr; c = c->getNextSibling()) {
    if (c->getNodeType() == xc::DOMNode::TEXT_NODE) out += U8(c->getNodeValue());
    if (c->getNodeType() == xc::DOMNode::ELEMENT_NODE)
      kids += " " + Shape(static_cast<const xc::DOMElement *>(c));
  }
  return out + kids;
}

TEST_F(EncoderTest, BaseFormsOfComponentIdsAndMessageData) {
  cbe_base_elts base{};
  ASSERT_EQ(buildComponentIdBaseElement(tc.ctx, doc, &base, "sourceComponentId", &kCidMin, &r), 0);
  ASSERT_NE(base.sourceComponentId, nullptr);
  EXPECT_EQ(Shape(base.sourceComponentId),
            "sourceComponentId[application=a component=c componentIdType=i "
            "componentType=t location=h locationType=IPV4 subComponent=s]");
  ASSERT_EQ(buildComponentIdBaseElement(tc.ctx, doc, &base, "reporterComponentId", &kCidFull, &r), 0);
  ASSERT_NE(base.reporterComponentId, nullptr);
  EXPECT_EQ(base.reporterComponentId->getAttributes()->getLength(), 11u);
  cbe_base_elts other{};
  EXPECT_EQ(buildComponentIdBaseElement(tc.ctx, doc, &other, "componentId", &kCidFull, &r), -1);
  EXPECT_EQ(other.sourceComponentId, other.reporterComponentId);

  // Tokens first, then the texts with msgCatalogType before msgCatalog.
  ASSERT_EQ(buildMsgDataBaseElement(tc.ctx, doc, &base, &kMsgFull, &r), 0);
  EXPECT_EQ(Shape(base.msgDataElement),
            "msgDataElement[msgLocale=l] msgCatalogTokens[value=a] msgCatalogTokens[value=b] msgId[]i "
            "msgIdType[]it msgCatalogId[]ci msgCatalogType[]ct msgCatalog[]c");
  ZOVEXA_MsgDataElement onlyId{S("only"), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr};
  ASSERT_EQ(buildMsgDataBaseElement(tc.ctx, doc, &base, &onlyId, &r), 0);
  EXPECT_EQ(Shape(base.msgDataElement), "msgDataElement[] msgId[]only");
  EXPECT_EQ(r.count, 0);
}

}  // namespace
