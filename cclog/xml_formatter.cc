// The XML formatter "ccg_xmlformatter": one <Message> or <Trace> element per
// event. Property values and texts are written as they are, without escaping;
// the log text and message parameters stand in CDATA sections.
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "cclog.h"
#include "cclog/ccg_event.h"
#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"
#include "cclog/formatter_util.h"

namespace {

struct XmlFormatterVars {
  // Set at creation and by getHeader: the next record is the first of a file
  // and carries the product block of the fields marked single.
  bool first = true;
  bool singleComponent = false;
  bool singleProduct = false;
  bool singleProductId = false;
  bool singleServer = false;
  bool forceAsMessage = false;
  bool forceAsTrace = false;
};

// Event properties that have elements of their own and are therefore left
// out of <LogAttribs>.
constexpr const char *kReservedKeys[] = {
    "threadId", "correlationId", "client",    "ccg_prop_srcfile", "ccg_prop_srcline",
    "ccg_prop_srcfunction", "server", "serverFormat", "product", "component",
    "productInstance", "processId"};

bool IsReserved(const std::string &key) {
  for (const char *reserved : kReservedKeys) {
    if (key == reserved) return true;
  }
  return false;
}

XmlFormatterVars *VarsOf(CCgObject *formatter) {
  return formatter ? static_cast<XmlFormatterVars *>(formatter->vars) : nullptr;
}

const char *LevelName(int32_t level) {
  switch (level) {
    case CCG_LEVEL_DEBUG_MAX: return "MAX";
    case CCG_LEVEL_DEBUG_MID: return "MID";
    case CCG_LEVEL_DEBUG_MIN: return "MIN";
    case CCG_LEVEL_INFO: return "INFO";
    case CCG_LEVEL_WARN: return "WARN";
    case CCG_LEVEL_ERROR:
    case CCG_LEVEL_FATAL: return "ERROR";
    default: return "OTHER";
  }
}

// Appends `open`, the property's value and `close` when the event has it.
void AppendPropElement(const CCgEvent *event, const char *key, const char *open,
                       const char *close, std::string *out) {
  if (const std::string *value = ccgEventPropPeek(event, key)) {
    out->append(open);
    out->append(*value);
    out->append(close);
  }
}

// Which fields of the product block to write: the block at the top of a file
// holds those marked single, every record the others.
//   Server <- singleServer, ProductId <- singleProductId,
//   Component <- singleComponent, ProductInstance <- singleProduct.
void AppendProductBlock(const CCgEvent *event, const XmlFormatterVars &vars, bool single,
                        std::string *out) {
  if (vars.singleServer == single) {
    if (const std::string *server = ccgEventPropPeek(event, "server")) {
      const std::string *format = ccgEventPropPeek(event, "serverFormat");
      out->append(" <Server Format=\"");
      if (format != nullptr) out->append(*format);
      out->append("\">");
      out->append(*server);
      out->append("</Server>\n");
    }
  }
  if (vars.singleProductId == single) {
    AppendPropElement(event, "product", " <ProductId>", "</ProductId>\n", out);
  }
  if (vars.singleComponent == single) {
    AppendPropElement(event, "component", " <Component>", "</Component>\n", out);
  }
  if (vars.singleProduct == single) {
    AppendPropElement(event, "productInstance", " <ProductInstance>", "</ProductInstance>\n", out);
  }
}

void AppendSource(const CCgEvent *event, const std::string &file, std::string *out) {
  out->append(" <Source FileName=\"");
  out->append(file);
  if (const std::string *function = ccgEventPropPeek(event, CCG_PROP_SRCFUNCTION)) {
    out->append("\" Method=\"");
    out->append(*function);
  }
  int64_t line;
  if (ccgfmt::EventPropInt64(event, CCG_PROP_SRCLINE, &line)) {
    out->append("\" Line=\"");
    out->append(std::to_string(line));
  }
  out->append("\"/>\n");
}

// Parameters as their "%c" (booleans and chars), "%d" (ints and longs), "%f"
// (floats and doubles) or "%s" text. A long written with "%d" keeps its low 32
// bits, as everywhere in the toolkit; a NUL character (a false boolean) adds
// nothing.
void AppendParm(const CCgParm &parm, std::string *out) {
  switch (parm.type) {
    case CCG_PARM_BOOL:
      if (parm.v.b) out->push_back('\x01');
      break;
    case CCG_PARM_CHAR:
      if (parm.v.c != '\0') out->push_back(parm.v.c);
      break;
    case CCG_PARM_INT: out->append(std::to_string(parm.v.i)); break;
    case CCG_PARM_LONG: out->append(ccgFormatLong(parm.v.l)); break;
    case CCG_PARM_FLOAT: out->append(ccgFormatDouble(static_cast<double>(parm.v.f))); break;
    case CCG_PARM_DOUBLE: out->append(ccgFormatDouble(parm.v.d)); break;
    default: out->append(parm.s); break;
  }
}

void AppendTranslationInfo(const CCgI18Msg &msg, std::string *out) {
  out->append(" <TranslationInfo Type=\"XPG4\" Catalog=\"");
  if (msg.catalog) out->append(*msg.catalog);
  out->append("\" MsgKey=\"");
  out->append(std::to_string(msg.key));
  out->append("\" SetId=\"");
  out->append(std::to_string(msg.set));
  out->append("\">");
  for (const CCgParm &parm : msg.parms) {
    out->append("<Param><![CDATA[");
    AppendParm(parm, out);
    out->append("]]></Param>");
  }
  out->append("</TranslationInfo>\n");
}

bool ParseFlag(CCgObject *formatter, const char *key) {
  const std::string *value = ccgObjPropPeek(formatter, key);
  bool flag = false;
  if (value == nullptr || !ccgParseBool(value->c_str(), &flag)) return false;
  return flag;
}

}  // namespace

void *CCgQDXMLFormatterFAllocVars(CCgObject *) { return new (std::nothrow) XmlFormatterVars; }

void CCgQDXMLFormatterFFreeVars(CCgObject *, void *vars) {
  delete static_cast<XmlFormatterVars *>(vars);
}

void CCgQDXMLFormatterFCfgChange(CCgObject *formatter, const char *key) {
  if (formatter == nullptr || key == nullptr) return;
  XmlFormatterVars *vars = VarsOf(formatter);
  bool XmlFormatterVars::*flag = nullptr;
  if (std::strcmp(key, "singleComponent") == 0) {
    flag = &XmlFormatterVars::singleComponent;
  } else if (std::strcmp(key, "singleProduct") == 0) {
    flag = &XmlFormatterVars::singleProduct;
  } else if (std::strcmp(key, "singleProductId") == 0) {
    flag = &XmlFormatterVars::singleProductId;
  } else if (std::strcmp(key, "singleServer") == 0) {
    flag = &XmlFormatterVars::singleServer;
  } else if (std::strcmp(key, "forceAsMessage") == 0) {
    flag = &XmlFormatterVars::forceAsMessage;
  } else if (std::strcmp(key, "forceAsTrace") == 0) {
    flag = &XmlFormatterVars::forceAsTrace;
  }
  if (flag == nullptr) {
    CCgBasicFormatterFCfgChange(formatter, key);
  } else if (vars != nullptr) {
    vars->*flag = ParseFlag(formatter, key);
  }
}

// A message at the unspecified level -9999 has no Severity attribute, just as
// a trace at that level opens with a bare <Trace>: the record claims no
// severity that the caller did not give.
char *CCgQDXMLFormatterFFormat(CCgObject *formatter, CCgEvent *event) {
  if (formatter == nullptr || event == nullptr) return nullptr;
  XmlFormatterVars defaults;
  defaults.first = false;
  XmlFormatterVars *stored = VarsOf(formatter);
  XmlFormatterVars &vars = stored ? *stored : defaults;

  const bool asMessage =
      vars.forceAsMessage != vars.forceAsTrace ? vars.forceAsMessage : event->isMessage;
  std::string text;
  {
    ccgfmt::ScopedFormatterLocale locale(formatter, event);
    text = ccgBindEventMsg(event, nullptr);
  }

  std::string &out = ccgfmt::RecordBuffer();
  if (vars.first) {
    AppendProductBlock(event, vars, true, &out);
    vars.first = false;
  }

  const bool unspecified = event->level == CCG_LEVEL_UNSPECIFIED;
  if (asMessage) {
    std::string id;
    if (event->messageId && !event->messageId->empty()) {
      id = *event->messageId;
    } else if (!CxParseTMSID(text.c_str(), &id, nullptr)) {
      id = "None";
    }
    out.append("<Message Id=\"");
    out.append(id);
    if (!unspecified) {
      out.append("\" Severity=\"");
      out.append(LevelName(event->level));
    }
    out.append("\">\n");
  } else if (unspecified) {
    out.append("<Trace>\n");
  } else {
    out.append("<Trace Level=\"");
    out.append(LevelName(event->level));
    out.append("\">\n");
  }

  out.append(" <Time Millis=\"");
  out.append(std::to_string(event->time));
  out.append("\">");
  ccgfmt::AppendDate(formatter, event->time, &out);
  out.append("</Time>\n");
  AppendProductBlock(event, vars, false, &out);

  out.append(" <LogText><![CDATA[");
  out.append(text);
  out.append("]]></LogText>\n");

  bool attribsOpen = false;
  for (const StringMap::Entry &prop : event->properties.Entries()) {
    if (IsReserved(prop.first)) continue;
    if (!attribsOpen) {
      out.append(" <LogAttribs>");
      attribsOpen = true;
    }
    out.append("<Key>");
    out.append(prop.first);
    out.append("</Key><Value>");
    out.append(prop.second);
    out.append("</Value>");
  }
  if (attribsOpen) out.append("</LogAttribs>\n");

  const std::string *file = ccgEventPropPeek(event, CCG_PROP_SRCFILE);
  if (asMessage) {
    if (file != nullptr) AppendSource(event, *file, &out);
    AppendTranslationInfo(event->message, &out);
  } else {
    if (file != nullptr) {
      AppendSource(event, *file, &out);
    } else {
      out.append(" <Source FileName=\"None\" Method=\"None\"/>\n");
    }
    int64_t id;
    if (ccgfmt::EventPropInt64(event, "threadId", &id)) {
      out.append(" <Thread>");
      out.append(std::to_string(id));
      out.append("</Thread>\n");
    }
    if (ccgfmt::EventPropInt64(event, "processId", &id)) {
      out.append(" <Process>");
      out.append(std::to_string(id));
      out.append("</Process>\n");
    }
  }

  AppendPropElement(event, "correlationId", " <CorrelationId>", "</CorrelationId>\n", &out);
  AppendPropElement(event, "client", " <Principal>", "</Principal>\n", &out);
  out.append(asMessage ? "</Message>\n" : "</Trace>\n");
  return ccgfmt::CopyOut(out);
}

char *CCgQDXMLFormatterFGetHeader(CCgObject *formatter) {
  if (XmlFormatterVars *vars = VarsOf(formatter)) vars->first = true;
  return nullptr;
}

char *CCgQDXMLFormatterFGetTrailer(CCgObject *) { return nullptr; }
