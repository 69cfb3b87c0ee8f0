/*
 * CCLog: the logging toolkit of zovexa.
 *
 * Named objects of four kinds (loggers, filters, handlers, formatters) are made
 * on demand from registered classes, configured from string properties, and
 * wired into a graph: a logger passes each event to its listeners (filters and
 * handlers), a filter passes what it accepts on, and a handler asks its
 * formatter for text and writes it. Every object takes its initial properties
 * from a tree of dotted-name configurations, optionally read from a properties
 * file.
 *
 * Conventions:
 * - Every CCg operation is serialised by one process-wide mutex. Class
 *   operations (the callbacks of registered classes) run while that mutex is
 *   held; they may call CCg operations again on the same thread.
 * - Strings are UTF-8. Strings returned by getters are fresh copies that the
 *   caller releases with CCgFree.
 * - Objects and configurations are reference counted: whatever a getter
 *   returns "acquired" is released with CCgReleaseObject / CCgReleaseObjCfg.
 * - Iterators returned by CCg operations are snapshots taken under the mutex;
 *   release them with CCgFreeIterator.
 * - Nothing is reported to the caller beyond the failure value of an
 *   operation; the toolkit writes its own faults through its error logger.
 */
#ifndef ZOVEXA_CCLOG_H_
#define ZOVEXA_CCLOG_H_

#include <stdarg.h>
#include <stdint.h>

#if defined(__GNUC__)
#define CCG_API __attribute__((visibility("default")))
#else
#define CCG_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef int CCgBool; /* 0 is false, anything else true */

/* ---- kinds, levels, parameter markers -------------------------------------- */

#define CCG_KIND_LOGGER 101
#define CCG_KIND_FILTER 102
#define CCG_KIND_HANDLER 103
#define CCG_KIND_FORMATTER 104

#define CCG_LEVEL_FATAL 7000
#define CCG_LEVEL_ERROR 6000
#define CCG_LEVEL_WARN 5000
#define CCG_LEVEL_INFO 4000
#define CCG_LEVEL_DEBUG_MIN 3000
#define CCG_LEVEL_DEBUG_MID 2000
#define CCG_LEVEL_DEBUG_MAX 1000
#define CCG_LEVEL_ALL 0
#define CCG_LEVEL_OFF 9999
#define CCG_LEVEL_UNSPECIFIED (-9999) /* passes every level test */

/* Markers of the variable part of the logging calls. Each typed marker is
 * followed by one value: bool, int and char as int; long as int64_t; float and
 * double as double; string as const char *. CCG_PARM_NAMED is followed by a key
 * string and a typed marker and value, stored as the event property of that
 * key. A level value used as marker sets the event's level. The list ends with
 * CCG_PARM_END. */
#define CCG_PARM_END 0
#define CCG_PARM_NAMED 201
#define CCG_PARM_BOOL 501
#define CCG_PARM_INT 502
#define CCG_PARM_LONG 503
#define CCG_PARM_FLOAT 504
#define CCG_PARM_DOUBLE 505
#define CCG_PARM_CHAR 506
#define CCG_PARM_STRING 507

/* Catalog of the toolkit's own messages (set 1, key = message number). */
#define CCG_MSG_CATALOG "ccgmsg"
#define CCG_MSG_SET 1

/* Event property names used by the toolkit. */
#define CCG_PROP_SRCFILE "ccg_prop_srcfile"
#define CCG_PROP_SRCLINE "ccg_prop_srcline"
#define CCG_PROP_SRCFUNCTION "ccg_prop_srcfunction"

/* ---- opaque types --------------------------------------------------------------- */

typedef struct CCgObject CCgObject;     /* logger, filter, handler or formatter */
typedef struct CCgObjCfg CCgObjCfg;     /* one configuration of the tree */
typedef struct CCgEvent CCgEvent;       /* one log event */
typedef struct CCgI18Msg CCgI18Msg;     /* a catalog message with parameters */
typedef struct CCgIterator CCgIterator; /* snapshot of names, objects or key/value pairs */

/* ---- class operations ------------------------------------------------------------ */

typedef void *(*CCgAllocVarsFn)(CCgObject *obj);
typedef void (*CCgFreeVarsFn)(CCgObject *obj, void *vars);
/* Called after property `key` of obj has been set. */
typedef void (*CCgCfgChangeFn)(CCgObject *obj, const char *key);
/* Logger log; filter forwarding step. */
typedef void (*CCgLogFn)(CCgObject *obj, CCgEvent *event);
/* Filter and handler process. */
typedef void (*CCgProcessFn)(CCgObject *obj, CCgEvent *event);
typedef CCgBool (*CCgIsLoggableFn)(CCgObject *filter, CCgEvent *event);
typedef void (*CCgOpenFn)(CCgObject *handler);
typedef void (*CCgCloseFn)(CCgObject *handler);
/* Formatter format / header / trailer: a fresh string (CCgFree) or NULL. */
typedef char *(*CCgFormatFn)(CCgObject *formatter, CCgEvent *event);
typedef char *(*CCgHeaderFn)(CCgObject *formatter);
typedef char *(*CCgTrailerFn)(CCgObject *formatter);
/* The message-to-text step: a fresh string (CCgFree) or NULL. */
typedef char *(*CCgBindMsgFn)(CCgI18Msg *msg);

/* ---- memory ------------------------------------------------------------------------ */

/* Releases a string or buffer returned by the toolkit. NULL does nothing. */
CCG_API void CCgFree(void *p);

/* ---- toolkit ------------------------------------------------------------------------- */

/* Opens the toolkit, reading propertiesFile (may be NULL) into the configuration
 * tree. True on success; a second call on an open toolkit does nothing and
 * returns true. A properties file that does not read cleanly fails the open. */
CCG_API CCgBool CCgOpenToolkit(const char *propertiesFile);
/* Frees all objects, configurations and classes. Must not race other calls. */
CCG_API void CCgCloseToolkit(void);

/* ---- classes ------------------------------------------------------------------------- */

/* Register an application class. Absent operations get the defaults. A class
 * without a name, or with a name already registered, is ignored. The
 * description (may be NULL) is copied. Returns true when registered. */
CCG_API CCgBool CCgAddLoggerClass(const char *name, const CCgI18Msg *description,
                                  CCgAllocVarsFn allocVars, CCgFreeVarsFn freeVars,
                                  CCgCfgChangeFn cfgChange, CCgLogFn log);
CCG_API CCgBool CCgAddFilterClass(const char *name, const CCgI18Msg *description,
                                  CCgAllocVarsFn allocVars, CCgFreeVarsFn freeVars,
                                  CCgCfgChangeFn cfgChange, CCgProcessFn process,
                                  CCgIsLoggableFn isLoggable, CCgLogFn log);
CCG_API CCgBool CCgAddHandlerClass(const char *name, const CCgI18Msg *description,
                                   CCgAllocVarsFn allocVars, CCgFreeVarsFn freeVars,
                                   CCgCfgChangeFn cfgChange, CCgProcessFn process,
                                   CCgOpenFn open, CCgCloseFn close);
CCG_API CCgBool CCgAddFormatterClass(const char *name, const CCgI18Msg *description,
                                     CCgAllocVarsFn allocVars, CCgFreeVarsFn freeVars,
                                     CCgCfgChangeFn cfgChange, CCgFormatFn format,
                                     CCgHeaderFn getHeader, CCgTrailerFn getTrailer,
                                     CCgBindMsgFn bindMsg);
/* Iterators over the class names of one kind, in order of registration. */
CCG_API CCgIterator *CCgGetLoggerClasses(void);
CCG_API CCgIterator *CCgGetFilterClasses(void);
CCG_API CCgIterator *CCgGetHandlerClasses(void);
CCG_API CCgIterator *CCgGetFormatterClasses(void);

/* ---- iterators ------------------------------------------------------------------------- */

CCG_API CCgBool CCgIteratorHasNext(const CCgIterator *it);
CCG_API void CCgIteratorNext(CCgIterator *it);
/* Current name (or key): a fresh copy, NULL at the end. */
CCG_API char *CCgIteratorGetKey(const CCgIterator *it);
/* Current value of a key/value iterator: a fresh copy, NULL otherwise. */
CCG_API char *CCgIteratorGetVal(const CCgIterator *it);
/* Current object of an object iterator, acquired; NULL otherwise. */
CCG_API CCgObject *CCgIteratorGetObject(const CCgIterator *it);
CCG_API void CCgFreeIterator(CCgIterator *it);

/* ---- objects ----------------------------------------------------------------------------- */

/* Finds or creates the named object, acquired. className may be NULL (the class
 * then comes from the configuration's inherited "className"). NULL when the
 * object cannot be made or exists with another class. */
CCG_API CCgObject *CCgGetObject(const char *name, const char *className);
CCG_API CCgObject *CCgAcquireObject(CCgObject *obj);
CCG_API void CCgReleaseObject(CCgObject *obj);
CCG_API char *CCgGetObjectName(CCgObject *obj);
/* The class description bound to text; NULL when the class has none. */
CCG_API char *CCgGetObjectDesc(CCgObject *obj);
/* The object's class name (fresh copy) and kind (0 for NULL). */
CCG_API char *CCgGetObjectClassName(CCgObject *obj);
CCG_API uint32_t CCgGetObjectKind(CCgObject *obj);
CCG_API CCgBool CCgAreObjectsEqual(const CCgObject *a, const CCgObject *b);
CCG_API CCgBool CCgIsObjectEnabled(CCgObject *obj);
CCG_API void CCgSetObjectEnabled(CCgObject *obj, CCgBool enabled);
/* The level of a logger or filter (CCG_LEVEL_UNSPECIFIED for other kinds). */
CCG_API int32_t CCgGetObjectLevel(CCgObject *obj);
/* The current formatter of a handler, acquired; NULL for other kinds. */
CCG_API CCgObject *CCgGetHandlerFormatter(CCgObject *handler);
/* The private data that the class's allocVars made. */
CCG_API void *CCgGetObjectVars(CCgObject *obj);

/* Property getters: a fresh copy of the value, or NULL. found (may be NULL)
 * tells whether the key exists and, for the typed forms, parses. */
CCG_API char *CCgGetObjProp(CCgObject *obj, const char *key, CCgBool *found);
CCG_API CCgBool CCgGetObjPropBool(CCgObject *obj, const char *key, CCgBool *found);
CCG_API int32_t CCgGetObjPropInt(CCgObject *obj, const char *key, CCgBool *found);
CCG_API int64_t CCgGetObjPropLong(CCgObject *obj, const char *key, CCgBool *found);
CCG_API float CCgGetObjPropFloat(CCgObject *obj, const char *key, CCgBool *found);
CCG_API double CCgGetObjPropDouble(CCgObject *obj, const char *key, CCgBool *found);
/* Property setters: store the value as text and notify the class. Booleans are
 * written "true"/"false", ints and longs with "%d" (a long keeps only its low
 * 32 bits, as a signed number), floats and doubles with "%f", chars with "%c". */
CCG_API void CCgSetObjProp(CCgObject *obj, const char *key, const char *value);
CCG_API void CCgSetObjPropBool(CCgObject *obj, const char *key, CCgBool value);
CCG_API void CCgSetObjPropInt(CCgObject *obj, const char *key, int32_t value);
CCG_API void CCgSetObjPropLong(CCgObject *obj, const char *key, int64_t value);
CCG_API void CCgSetObjPropFloat(CCgObject *obj, const char *key, float value);
CCG_API void CCgSetObjPropDouble(CCgObject *obj, const char *key, double value);
CCG_API void CCgSetObjPropChar(CCgObject *obj, const char *key, char value);

/* Listeners of loggers, filters and handlers. Adding an object already held
 * does nothing. The iterator yields acquired objects (CCgIteratorGetObject). */
CCG_API CCgBool CCgAddListener(CCgObject *obj, CCgObject *listener);
CCG_API CCgBool CCgRemListener(CCgObject *obj, CCgObject *listener);
CCG_API CCgIterator *CCgGetListeners(CCgObject *obj);

/* ---- log manager and configurations -------------------------------------------------------- */

/* The configuration of that name, created and linked into the tree when
 * missing; acquired. "/" (the root) and NULL give NULL. */
CCG_API CCgObjCfg *CCgLogMgrGetCfg(const char *name);
CCG_API void CCgLogMgrAddCfg(CCgObjCfg *cfg);
CCG_API void CCgLogMgrRemCfg(CCgObjCfg *cfg);
CCG_API void CCgLogMgrUpdateCfg(CCgObjCfg *cfg);
CCG_API CCgBool CCgLogMgrHasCfg(const char *name);
CCG_API CCgIterator *CCgLogMgrConfigNames(void);
/* Sets on obj every property of the named configuration and its ancestors, the
 * most distant ancestor first. False for a NULL object or the name "/". */
CCG_API CCgBool CCgLogMgrApplyCfg(CCgObject *obj, const char *name);
/* Reads a properties file into the configurations; true when the whole file
 * was read without error (entries before a fault stay). */
CCG_API CCgBool CCgLogMgrReadProps(const char *fileName);

CCG_API CCgObjCfg *CCgAllocObjCfg(const char *name); /* refCount 1, not in the tree */
CCG_API CCgObjCfg *CCgAcquireObjCfg(CCgObjCfg *cfg);
CCG_API void CCgReleaseObjCfg(CCgObjCfg *cfg);
CCG_API char *CCgObjCfgGetName(CCgObjCfg *cfg);
CCG_API CCgBool CCgObjCfgIsFromFile(CCgObjCfg *cfg);
CCG_API void CCgObjCfgSetFromFile(CCgObjCfg *cfg, CCgBool fromFile);
CCG_API CCgObjCfg *CCgObjCfgGetParent(CCgObjCfg *cfg); /* acquired, or NULL */
CCG_API void CCgObjCfgSetParent(CCgObjCfg *cfg, const char *parentName);
CCG_API void CCgObjCfgAddChild(CCgObjCfg *cfg, const char *childName);
CCG_API void CCgObjCfgRemChild(CCgObjCfg *cfg, const char *childName);
CCG_API CCgIterator *CCgObjCfgChildrenNames(CCgObjCfg *cfg);
CCG_API CCgIterator *CCgObjCfgProperties(CCgObjCfg *cfg); /* keys and values */

/* The configuration's own property (fresh copy) and typed forms. */
CCG_API char *CCgGetObjCfgProp(CCgObjCfg *cfg, const char *key, CCgBool *found);
CCG_API CCgBool CCgGetObjCfgPropBool(CCgObjCfg *cfg, const char *key, CCgBool *found);
CCG_API int32_t CCgGetObjCfgPropInt(CCgObjCfg *cfg, const char *key, CCgBool *found);
CCG_API int64_t CCgGetObjCfgPropLong(CCgObjCfg *cfg, const char *key, CCgBool *found);
CCG_API float CCgGetObjCfgPropFloat(CCgObjCfg *cfg, const char *key, CCgBool *found);
CCG_API double CCgGetObjCfgPropDouble(CCgObjCfg *cfg, const char *key, CCgBool *found);
/* The property from the configuration or its nearest ancestor that has it. */
CCG_API char *CCgGetInheritedObjCfgProp(CCgObjCfg *cfg, const char *key, CCgBool *found);
/* Set the configuration's own property; objects already created are not told. */
CCG_API void CCgSetObjCfgProp(CCgObjCfg *cfg, const char *key, const char *value);
CCG_API void CCgSetObjCfgPropBool(CCgObjCfg *cfg, const char *key, CCgBool value);
CCG_API void CCgSetObjCfgPropInt(CCgObjCfg *cfg, const char *key, int32_t value);
CCG_API void CCgSetObjCfgPropLong(CCgObjCfg *cfg, const char *key, int64_t value);
CCG_API void CCgSetObjCfgPropFloat(CCgObjCfg *cfg, const char *key, float value);
CCG_API void CCgSetObjCfgPropDouble(CCgObjCfg *cfg, const char *key, double value);

/* ---- logging ---------------------------------------------------------------------------------- */

/* Catalog messages at a fixed level (CCgLogMsg: unspecified level). catalog
 * may be NULL for plain text; defaultText is the fallback and the format
 * template. The variable part is a marker list ended by CCG_PARM_END. */
CCG_API void CCgLogFatal(CCgObject *logger, const char *catalog, uint32_t set, uint32_t key,
                         const char *defaultText, ...);
CCG_API void CCgLogError(CCgObject *logger, const char *catalog, uint32_t set, uint32_t key,
                         const char *defaultText, ...);
CCG_API void CCgLogWarn(CCgObject *logger, const char *catalog, uint32_t set, uint32_t key,
                        const char *defaultText, ...);
CCG_API void CCgLogInfo(CCgObject *logger, const char *catalog, uint32_t set, uint32_t key,
                        const char *defaultText, ...);
CCG_API void CCgLogMsg(CCgObject *logger, const char *catalog, uint32_t set, uint32_t key,
                       const char *defaultText, ...);
CCG_API void CCgLogFatalVA(CCgObject *logger, const char *catalog, uint32_t set, uint32_t key,
                           const char *defaultText, va_list args);
CCG_API void CCgLogErrorVA(CCgObject *logger, const char *catalog, uint32_t set, uint32_t key,
                           const char *defaultText, va_list args);
CCG_API void CCgLogWarnVA(CCgObject *logger, const char *catalog, uint32_t set, uint32_t key,
                          const char *defaultText, va_list args);
CCG_API void CCgLogInfoVA(CCgObject *logger, const char *catalog, uint32_t set, uint32_t key,
                          const char *defaultText, va_list args);
CCG_API void CCgLogMsgVA(CCgObject *logger, const char *catalog, uint32_t set, uint32_t key,
                         const char *defaultText, va_list args);
/* A plain trace text at the unspecified level. */
CCG_API void CCgLogText(CCgObject *logger, const char *text, ...);
CCG_API void CCgLogTextVA(CCgObject *logger, const char *text, va_list args);
/* Debug traces with their source location (srcFile and srcFunction may be NULL). */
CCG_API void CCgLogDebugMin(CCgObject *logger, const char *srcFile, const char *srcFunction,
                            int32_t srcLine, const char *text, ...);
CCG_API void CCgLogDebugMid(CCgObject *logger, const char *srcFile, const char *srcFunction,
                            int32_t srcLine, const char *text, ...);
CCG_API void CCgLogDebugMax(CCgObject *logger, const char *srcFile, const char *srcFunction,
                            int32_t srcLine, const char *text, ...);
CCG_API void CCgLogDebugMinVA(CCgObject *logger, const char *srcFile, const char *srcFunction,
                              int32_t srcLine, const char *text, va_list args);
CCG_API void CCgLogDebugMidVA(CCgObject *logger, const char *srcFile, const char *srcFunction,
                              int32_t srcLine, const char *text, va_list args);
CCG_API void CCgLogDebugMaxVA(CCgObject *logger, const char *srcFile, const char *srcFunction,
                              int32_t srcLine, const char *text, va_list args);

/* Whether a call at `level` would reach the logger's listeners. Takes no lock. */
CCG_API CCgBool CCgIsLoggable(CCgObject *logger, int32_t level);
CCG_API CCgBool CCgIsLoggableByFilter(CCgObject *filter, CCgEvent *event);
/* A level from its name or decimal text; unknown gives CCG_LEVEL_UNSPECIFIED. */
CCG_API int32_t CCgGetLevelFromString(const char *text);
/* Whether text matches a pattern whose "*" stands for any run of characters. */
CCG_API CCgBool CCgPatternMatch(const char *pattern, const char *text);

/* ---- events -------------------------------------------------------------------------------------- */

CCG_API CCgEvent *CCgAllocEvent(int32_t level, const char *catalog, uint32_t set, uint32_t key,
                                const char *defaultText, ...);
CCG_API CCgEvent *CCgVaAllocEvent(int32_t level, const char *catalog, uint32_t set, uint32_t key,
                                  const char *defaultText, va_list args);
CCG_API void CCgFreeEvent(CCgEvent *event);
CCG_API uint64_t CCgGetEventTime(const CCgEvent *event); /* ms since 1970 UTC */
CCG_API void CCgSetEventTime(CCgEvent *event, uint64_t timeMillis);
CCG_API int32_t CCgGetEventLevel(const CCgEvent *event);
CCG_API char *CCgGetEventMessageId(const CCgEvent *event);
CCG_API void CCgSetEventMessageId(CCgEvent *event, const char *messageId);
CCG_API CCgBool CCgGetEventIsMessage(const CCgEvent *event);
CCG_API void CCgSetEventIsMessage(CCgEvent *event, CCgBool isMessage);
/* The event's message (owned by the event). */
CCG_API CCgI18Msg *CCgGetEventMessage(CCgEvent *event);
/* The event's message as text through bindMsg (NULL: the default binding). */
CCG_API char *CCgBindEventMsg(CCgEvent *event, CCgBindMsgFn bindMsg);

CCG_API char *CCgGetEventProp(const CCgEvent *event, const char *key, CCgBool *found);
CCG_API CCgBool CCgGetEventPropBool(const CCgEvent *event, const char *key, CCgBool *found);
CCG_API int32_t CCgGetEventPropInt(const CCgEvent *event, const char *key, CCgBool *found);
CCG_API int64_t CCgGetEventPropLong(const CCgEvent *event, const char *key, CCgBool *found);
CCG_API float CCgGetEventPropFloat(const CCgEvent *event, const char *key, CCgBool *found);
CCG_API double CCgGetEventPropDouble(const CCgEvent *event, const char *key, CCgBool *found);
CCG_API void CCgSetEventProp(CCgEvent *event, const char *key, const char *value);
CCG_API void CCgSetEventPropBool(CCgEvent *event, const char *key, CCgBool value);
CCG_API void CCgSetEventPropInt(CCgEvent *event, const char *key, int32_t value);
CCG_API void CCgSetEventPropLong(CCgEvent *event, const char *key, int64_t value);
CCG_API void CCgSetEventPropFloat(CCgEvent *event, const char *key, float value);
CCG_API void CCgSetEventPropDouble(CCgEvent *event, const char *key, double value);
CCG_API void CCgSetEventPropChar(CCgEvent *event, const char *key, char value);

/* ---- catalog messages ----------------------------------------------------------------------------- */

CCG_API CCgI18Msg *CCgAllocI18Msg(const char *catalog, uint32_t set, uint32_t key,
                                  const char *defaultText);
CCG_API CCgI18Msg *CCgCopyI18Msg(const CCgI18Msg *msg);
CCG_API void CCgFreeI18Msg(CCgI18Msg *msg);
/* The message bound to text: catalog text (or the default) formatted with the
 * parameters; the unformatted default text when a parameter is missing. */
CCG_API char *CCgBindI18Msg(CCgI18Msg *msg);
CCG_API void CCgSetI18MsgCat(CCgI18Msg *msg, const char *catalog);
CCG_API void CCgSetI18MsgSet(CCgI18Msg *msg, uint32_t set);
CCG_API void CCgSetI18MsgKey(CCgI18Msg *msg, uint32_t key);
CCG_API void CCgSetI18MsgTxt(CCgI18Msg *msg, const char *defaultText);
/* The locale with which the catalog is opened (NULL: the process locale). */
CCG_API CCgBool CCgSetI18MsgLocale(CCgI18Msg *msg, const char *localeName);
CCG_API void CCgAddI18MsgParmString(CCgI18Msg *msg, const char *value);
CCG_API void CCgAddI18MsgParmInt(CCgI18Msg *msg, int32_t value);
CCG_API void CCgAddI18MsgParmLong(CCgI18Msg *msg, int64_t value);
CCG_API void CCgAddI18MsgParmFloat(CCgI18Msg *msg, float value);
CCG_API void CCgAddI18MsgParmDouble(CCgI18Msg *msg, double value);
CCG_API void CCgAddI18MsgParmChar(CCgI18Msg *msg, char value);
CCG_API void CCgAddI18MsgParmBool(CCgI18Msg *msg, CCgBool value);

/* ---- built-in class operations ----------------------------------------------------------------------
 * Exported so that application classes can reuse them; they assume the
 * toolkit mutex is held, as it is inside any class operation. */

CCG_API void CCgBasicObjectFLog(CCgObject *obj, CCgEvent *event);
CCG_API void CCgBasicObjectFCfgChange(CCgObject *obj, const char *key);
CCG_API void CCgBasicLoggerFCfgChange(CCgObject *obj, const char *key);
CCG_API void CCgBasicFilterFProcess(CCgObject *filter, CCgEvent *event);
CCG_API CCgBool CCgLevelFilterFIsLoggable(CCgObject *filter, CCgEvent *event);
CCG_API void CCgLevelFilterFCfgChange(CCgObject *filter, const char *key);
CCG_API void CCgBasicHandlerFProcess(CCgObject *handler, CCgEvent *event);
CCG_API void CCgBasicHandlerFOpen(CCgObject *handler);
CCG_API void CCgBasicHandlerFClose(CCgObject *handler);
CCG_API void CCgBasicHandlerFCfgChange(CCgObject *handler, const char *key);
CCG_API char *CCgBasicFormatterFFormat(CCgObject *formatter, CCgEvent *event);
CCG_API char *CCgBasicFormatterFGetHeader(CCgObject *formatter);
CCG_API char *CCgBasicFormatterFGetTrailer(CCgObject *formatter);
CCG_API void CCgBasicFormatterFCfgChange(CCgObject *formatter, const char *key);

#ifdef __cplusplus
}
#endif

#endif /* ZOVEXA_CCLOG_H_ */
