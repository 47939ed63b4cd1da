// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

/* The utility library: files and network sources by one set of calls, the configuration
 * directory and store, the error log, the encoder of encrypted stream files.
 *
 * Encoding   Texts are NUL-terminated UTF-8. On systems that separate paths with "/", a "\" in
 *            a local path counts as a separator; the text itself is never changed. A file
 *            whose own name holds a "\" is found when nothing is there with "/".
 * Sources    "s3://", "https://" and "http://" in any letter case are network sources, every
 *            other text is a local path.
 *            S3 form: "s3://" key ":" secret "@" site "/" bucket ["/" object key], nothing
 *            escaped; empty key and secret make unsigned requests. Without a bucket it is the
 *            account. Two "/" in front of the bucket count as one.
 * Ownership  Arguments stay the caller's and are not kept. Handles are closed with
 *            hqOSCloseFile, encoder outputs released with hqXCFree.
 * Handles    Pointer-sized; all bits set is the invalid handle. A handle that is invalid,
 *            already closed or made up gives the failure value and error 6. A null path or
 *            buffer gives the failure value and error 87.
 * Errors     Each function names its failure value; hqOSGetLastError tells why, per thread,
 *            in the numbers listed there. Nothing is thrown.
 * Log        Each failed open, walk and copy leaves one line in the error log: what, where
 *            without credentials, why. One that was cancelled leaves none, nor do other calls
 *            but an hqCFGSave that fails. A source's entry file leaves one when it opens but
 *            cannot be read or is too large.
 * Threads    Every function may be called from any thread. One handle used by two threads at
 *            once is served one call after the other.
 * Waiting    On the network an open, a read and a page of a walk fail after 45 s without a byte of
 *            what was asked for, tokens and retries included, a copy after 60 s. Within that
 *            time a connection may take 10 s, the first byte of a response 35 s, each further
 *            wait for bytes 30 s. A stop token set for the thread (stoptoken.h) ends every call
 *            within 250 ms.
 * Stability  Names, orders of arguments, numbers and failure values are relied on. */
#ifndef HQUTIL_H
#define HQUTIL_H

#include <stdint.h>

#if defined(__GNUC__)
#define HQ_PRINTF(text, first) __attribute__((format(printf, text, first)))
#else
#define HQ_PRINTF(text, first)
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef void *HQHANDLE;
#define HQ_INVALID_HANDLE ((HQHANDLE)(intptr_t)-1)

enum {
    HQ_CONFIG_DIR_SIZE = 260, /* bytes of the buffer for hqOSGetConfigDir */
    HQ_ACCESS_WRITE = 0x40000000,
    HQ_SHARE_READ = 1,
    HQ_CREATE_ALWAYS = 2,
    HQ_OPEN_EXISTING = 3,
    HQ_ATTRIBUTE_FOLDER = 0x10,
    HQ_ATTRIBUTE_NORMAL = 0x80,
    HQ_WALK_ONE_LEVEL = 4096
};
#define HQ_ACCESS_READ 0x80000000u

/* Names the log file: NAME ".log" in the state directory. Call it first: it also takes what is
 * there of log and configuration directory from everybody but their owner. */
void ErrLogSetFileName(const char *name);

/* Appends one line, with date, time and thread, to the error log. What looks like a credential is
 * made unreadable. Pass addresses through hq::harmlessAddress (credentials.h) first all the same.
 * Line ends inside the text become blanks, other invisible characters a text such as "\x1b".
 * Failures are ignored. */
void ErrOut(const char *format, ...) HQ_PRINTF(1, 2);

/* Opens a source (HQ_ACCESS_READ with HQ_OPEN_EXISTING) or makes a local file that replaces an
 * existing one when it is closed (HQ_ACCESS_WRITE with HQ_CREATE_ALWAYS; readable by its owner
 * only). A folder does not open; an S3 bucket or account does, as a proof that it is reachable.
 * The last two arguments and `security` are not used. Returns HQ_INVALID_HANDLE on failure. */
HQHANDLE hqOSCreateFile(const char *path, uint32_t access, uint32_t share, void *security,
                        uint32_t disposition, uint32_t attributes, HQHANDLE templateFile);

/* Closes a handle; a written file takes its place now, when it is on the disk. 0 on failure: a
 * written file that could not be completed leaves the old one as it was. The handle is gone in
 * either case. */
int hqOSCloseFile(HQHANDLE file);

/* Reads up to `count` bytes from the current position; fewer only at the end of the source.
 * `*read` receives the number. 0 on failure, then `*read` is 0 and the position is unchanged. More
 * than 256 MiB at once from a network source fail with 87. */
int hqOSReadFile(HQHANDLE file, void *buffer, uint32_t count, uint32_t *read, void *overlapped);

/* Puts the size in bytes into `*size`, -1 when it cannot be known without reading a source of
 * more than 64 MiB to its end. 0 on failure, then `*size` is unchanged. */
int hqOSGetFileSizeEx(HQHANDLE file, int64_t *size);

/* Moves the read position to `position` bytes from the start; past the end is allowed and reads
 * nothing. 0 on failure. */
int hqOSSeek(HQHANDLE file, int64_t position);

/* Writes formatted text to a file opened for writing. Returns the bytes written, -1 on failure. */
int hqOSfprintf(HQHANDLE file, const char *format, ...) HQ_PRINTF(2, 3);

/* Why the last failed call of this thread failed:
 *   2 missing               5 denied              6 invalid handle     32, 33 sharing
 *   3 path missing         50 not supported      80 exists             87 bad argument
 * 112 disk full           123 malformed name   1006 source changed  1223 cancelled
 * 12002 timed out       12007 name not resolved                     12029 cannot connect
 * 12030 connection lost 12152 answer not understood                 12157, 12175 TLS
 * Other failures give the system code of Windows that is nearest. */
uint32_t hqOSGetLastError(void);

/* Nonzero when `path` is a folder: a local folder, an S3 bucket, or a prefix with entries. */
int hqOSFileIsDir(const char *path);

/* Nonzero when `path` is there, a file or a folder. */
int hqOSFileExists(const char *path);

/* Deletes a local file. 0 on failure. */
int hqOSDeleteFile(const char *path);

/* Copies a source to a local file, which appears under its name only when it is complete and on the
 * disk, with the bytes of one version of the source. With `keepExisting` 1 an existing destination,
 * also a link that leads nowhere, is kept as it is and the call fails with 80. 0 on failure, then
 * nothing is left behind. */
int hqOSCopyFile(const char *source, const char *destination, int keepExisting);

/* Nonzero when `address` is a network source, judged by its text alone. */
int hqOSIsNetworkSource(const char *address);

/* Writes the configuration directory, ending in a separator, into `buffer` of
 * HQ_CONFIG_DIR_SIZE bytes and makes it when it is missing. 0 on failure, also when it does not
 * fit; then `buffer` holds the empty text. `flags` is 0. */
int hqOSGetConfigDir(char *buffer, int flags);

/* Called once per entry of a walk: its full address (valid during the call), its attributes
 * (HQ_ATTRIBUTE_FOLDER for a folder, whose network address ends in "/"). A nonzero result ends
 * the walk. */
typedef int (*HqWalkCallback)(void *user, const char *address, unsigned int attributes);

/* Walks the entries directly inside a folder, bucket, prefix or account, in the order of their
 * names, on the calling thread. Each address is the folder's as given, "/" unless that ends it
 * already, and the rest; an account's buckets have the "/" in either case. `flags` is
 * HQ_WALK_ONE_LEVEL. Returns 1 after a complete walk or one that the callback ended, 0 when it
 * broke off. */
int hqOSRecurseDirectory(void *user, const char *folder, HqWalkCallback callback, uint32_t flags);

/* Takes an entry's address apart, cutting a part that does not fit at a character boundary. The
 * name is the last part (without a final "/"), the folder what stands between bucket and name.
 * An address that is not an S3 address gives folder and name only, never a credential.
 * The buffers have 256, 4096, 4096, 64, 1512, 1512 and 1512 bytes and always end up terminated. */
void hqOSAwsParse(const char *address, char *bucket, char *folder, char *name, char *region,
                  char *key, char *secret, char *site);

/* Encrypts `length` bytes; docs/encrypted-form.md describes the text. `*output` receives the
 * terminated text, `*outputLength` its length; both are null and 0 on failure. The value of
 * `*outputLength` before the call and the two reserved arguments are not used. 0 on failure. */
int hqXCEncode(const void *key, uint32_t keyLength, const void *input, uint32_t length,
               int reserved1, int reserved2, char **output, uint32_t *outputLength);

/* The inverse of hqXCEncode, strict: an unknown version, a text that is not canonical, another
 * key or a changed bit fail. The output is terminated for convenience. 0 on failure. */
int hqXCDecode(const void *key, uint32_t keyLength, const char *input, uint32_t length,
               int reserved1, int reserved2, char **output, uint32_t *outputLength);

/* Releases an output of hqXCEncode or hqXCDecode; null is allowed. */
void hqXCFree(void *output);

/* Sets a text in the configuration store, in memory until hqCFGSave. `store` is -1, `write` 1.
 * `section` may hold "\" as a separator of levels. The whole of `value` is kept; `length` is not
 * used. 0 on failure. */
int hqCFGValueString(intptr_t store, const char *section, const char *key, const char *value,
                     int32_t *length, int write);

/* Writes what was set to the store's file, readable by its owner only. 0 on failure, which is
 * logged; the file is as it was then, and the next call tries again. */
int hqCFGSave(intptr_t store, int reserved1, int reserved2);

#ifdef __cplusplus
}
#endif

#endif
