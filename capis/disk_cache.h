// The disk cache's files: where they live, how they are named, the record
// format, writing batches into them, reading records back, the checkpoint,
// corrupt files and the start-up scan of files left by an earlier process.
//
// File layout: a 10-digit checkpoint ("0000000010" in a new file: the offset
// of the first record not yet sent), then data records, each a 32-byte
// header ("Xrec", uncompressed size (10 digits), ":", compressed size (10
// digits), ":", event count (5 digits), NUL) and the zlib-compressed batch
// text. Every byte goes through the cache I/O seam (capis/cache_io.h).
#ifndef ZOVEXA_CAPIS_DISK_CACHE_H_
#define ZOVEXA_CAPIS_DISK_CACHE_H_

#include <cstddef>
#include <cstdint>
#include <ctime>

#include "capis/cache_info.h"
#include "zovexa.h"

constexpr int kZOcheckpointSize = 10;
constexpr int kZOrecordHeaderSize = 32;

// Why ZOgetEventRec stopped.
enum ZOeventRecStatus {
  ZO_REC_OK,          // a record was read
  ZO_REC_END,         // no further record now (file ended and nobody writes it, or no blocking)
  ZO_REC_CORRUPT,     // the file was found corrupt and handed to handleCorruptedCacheFile
  ZO_REC_READ_ERROR,  // a read or uncompress failed (message 43 or 46)
  ZO_REC_SHUTDOWN,    // a blocking read was ended by the cache's shut-down
};

// One record read back. The buffers are kept and only grown between calls;
// free them with ZOfreeEventRec.
struct ZOeventRec {
  char *compBuf;
  int64_t compCap;
  char *text;  // the batch text, NUL-terminated
  int64_t textCap;
  int64_t uncompSize;
  int64_t compSize;
  int32_t numEvents;
  int64_t endOffset;  // file offset just after this record
  ZOeventRecStatus status;
};

// The record compressor: zlib streams, with the (destination, destination
// length in and out, source, source length) shape. 0, or zlib's error code.
int vexazip_compress(unsigned char *dest, size_t *destLen, const unsigned char *src, size_t srcLen);
int vexazip_uncompress(unsigned char *dest, size_t *destLen, const unsigned char *src, size_t srcLen);

// Writes the 32-byte header of a record into `dest`: "Xrec", the two sizes
// in 10 digits and the event count in 5, separated by ":", then a NUL.
void ZOformatRecordHeader(char *dest, int64_t uncompSize, int64_t compSize, int32_t numEvents);

// The creation time encoded in a cache file name ("<prefix>.%Y-%m-%d-%H-%M-%S.<n>",
// local time), or -1 when the name has none.
time_t ZOgetCreationTime(const ZOVEXA_AuditClientContext *context, const char *fileName);

// Queues the cache files found in the cache directory (names "<prefix>."
// without "corrupt" after the prefix), oldest first; files of equal time
// stay in scan order. 0, or -1 with message 56.
int ZObuildCacheFileQ(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);

// Context creation: builds the context's cache state when useDiskCache is
// "always" or "auto" (none for "never"), checks diskCachePath (message 7 for
// a value without "/", 38 when its directory is not writable, 56 when it
// cannot be read) and queues the files found there oldest first. Without a
// diskCachePath the context gets no cache, and ZOsetupCacheFiles refuses to
// make a client. 0 / -1.
int ZOinitDiskCache(ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);

// Context deletion: closes the files still open for writing, removes those
// that hold nothing unsent, and frees the cache state. Safe without one.
void ZOfreeDiskCache(ZOVEXA_AuditClientContext *context);

// Client creation: one writer slot per queue thread, each with a new file
// open for writing (a slot whose file cannot be made stays empty). Also
// ends the shut-down of an earlier client. 0 (also for "never"), or -1 with
// message 6 when the disk cache is in use but diskCachePath is missing.
int ZOsetupCacheFiles(ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);

// Client deletion: releases the files of the writer slots (they stay on disk,
// queued for draining) so a later client makes new ones.
void ZOreleaseCacheFiles(ZOVEXA_AuditClientContext *context);

// Compresses one batch text of `length` bytes holding `numEvents` events and
// appends it as one record. 0 when written, or when the cache is disabled, or
// when a limit made the writer give up after a finite tempStorageFullTimeout
// (the events are then counted as discarded); -1 otherwise.
int ZOcacheMsg(const ZOVEXA_AuditClientContext *context, const char *text, int64_t length, int32_t numEvents,
               ZOVEXA_result *result);

// Holds a writer slot and the file to write a record of `recordLength`
// bytes to, rolling the slot over to a new file when it has none, its file
// is corrupt, or the record would make the file exceed maxCacheFileSize.
// 0 (held: release with releaseCacheFile), 1 (gave up waiting under a
// limit) or -1.
int ZOselectCacheFile(const ZOVEXA_AuditClientContext *context, int64_t recordLength, int *slot,
                      ZOcacheFileInfo **file, ZOVEXA_result *result);
void releaseCacheFile(const ZOVEXA_AuditClientContext *context, int slot, ZOcacheFileInfo *file);

// Creates, names and opens a new cache file for writer slot `slot`, writes
// its checkpoint and queues it. Called with the cache mutex held; returns the
// file with its own mutex held, or NULL.
ZOcacheFileInfo *ZOcreateCacheFile(const ZOVEXA_AuditClientContext *context, int slot, int nonBlocking,
                                   ZOVEXA_result *result);

// Appends one record (`buffer` starts with kZOrecordHeaderSize bytes of room
// for the header, then compSize bytes of data). A disk that fills up leaves
// the file exactly as long as before. 0, 1 (gave up waiting for disk space)
// or -1.
int ZOwriteCacheRecord(const ZOVEXA_AuditClientContext *context, ZOcacheFileInfo *file, char *buffer,
                       int64_t uncompSize, int64_t compSize, int32_t numEvents, ZOVEXA_result *result);

// Opens a cache file by full path for draining ("rb+": read and write, no
// create). With `block`, waits in 2-second steps while the system is out of
// file handles (message 60 once per episode), up to tempStorageFullTimeout or
// shut-down. The descriptor, or -1 (message 38).
int ZOopenCacheFile(const ZOVEXA_AuditClientContext *context, const char *path, int block,
                    ZOVEXA_result *result);

// Reads the checkpoint of the file open on `fd` and seeks there. 0 / -1
// (message 43 or 45).
int ZOseekToNextEvent(const ZOVEXA_AuditClientContext *context, ZOcacheFileInfo *file, int fd,
                      ZOVEXA_result *result);

// Reads and uncompresses the record at the current position of `fd` into
// `rec` (rec->status says why it stopped). With `block`, waits at the end of
// a file that a writer still holds until data arrives, the writer lets go,
// or shut-down. 0 with status ZO_REC_OK, else -1.
int ZOgetEventRec(const ZOVEXA_AuditClientContext *context, ZOcacheFileInfo *file, int fd, int block,
                  ZOeventRec *rec, ZOVEXA_result *result);
void ZOfreeEventRec(ZOeventRec *rec);

// Writes the current position of `fd` as the file's checkpoint (and keeps the
// position). 0 / -1 (message 41, 42 or 45).
int ZOupdateReadPos(const ZOVEXA_AuditClientContext *context, ZOcacheFileInfo *file, int fd,
                    ZOVEXA_result *result);

// Marks the file corrupt, reports message 51 and renames it to the first free
// "<name>.corruptN". 0 / -1.
int handleCorruptedCacheFile(const ZOVEXA_AuditClientContext *context, ZOcacheFileInfo *file,
                             ZOVEXA_result *result);

// Removes a fully sent file. 0 / -1.
int ZOdeleteCacheFile(const ZOVEXA_AuditClientContext *context, ZOcacheFileInfo *file, ZOVEXA_result *result);

// Frees a file record that is on no queue and in no writer slot.
void ZOfreeCacheFileInfo(ZOcacheFileInfo *file);

#endif  // ZOVEXA_CAPIS_DISK_CACHE_H_
