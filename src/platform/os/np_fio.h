// Files, directories and paths of the portability layer.
//
// A file is an np_fio_file handle over one descriptor, opened with
// O_CLOEXEC. Every function that can fail returns 0 on success and otherwise
// the operating system's error number (an errno value such as ENOENT);
// np_fio_errdesc turns that number into the system's text. A call that the
// system interrupts (EINTR) is repeated, never reported.
//
// Outputs on failure: out-parameters are left as they were unless a function
// says otherwise; a handle is never half-made (np_fio_open and np_fio_tmpfile
// set *handleOut to null on failure).
//
// Paths are POSIX paths: "/" separates names, a leading "/" makes a path
// absolute, there are no drives.
//
// Fault injection (kx_fault.h): KX_FAULT_OPEN makes an open or a temporary
// file fail with EACCES, KX_FAULT_WRITE makes a write fail with EIO (nothing
// written), KX_FAULT_RENAME makes a rename fail with EIO (nothing renamed).
//
// Thread safety: every function may be called from any thread; one handle is
// used by one thread at a time.
#ifndef KXB_PLATFORM_NP_FIO_H_
#define KXB_PLATFORM_NP_FIO_H_

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct np_fio_file np_fio_file;

// Open flags: one access mode, any of the others.
#define NP_FIO_READ 0x0001
#define NP_FIO_WRITE 0x0002
#define NP_FIO_READWRITE 0x0003
#define NP_FIO_CREATE 0x0010    // create the file when missing
#define NP_FIO_TRUNCATE 0x0020  // empty an existing file
#define NP_FIO_APPEND 0x0040    // every write goes to the end
#define NP_FIO_EXCLUSIVE 0x0080 // with CREATE: fail with EEXIST when present

// Seek origins.
#define NP_FIO_SET 0
#define NP_FIO_CUR 1
#define NP_FIO_END 2

// Kinds of file-system objects.
#define NP_FIO_TYPE_FILE 1
#define NP_FIO_TYPE_DIRECTORY 2
#define NP_FIO_TYPE_OTHER 3

typedef struct np_fio_info {
  int type;              // NP_FIO_TYPE_*
  int64_t size;          // bytes
  unsigned permissions;  // the permission bits (e.g. 0644)
  int64_t modified;      // seconds since 1970
} np_fio_info;

// ---------------------------------------------------------------------------
// Opening and closing

// Opens `path` with the NP_FIO_* flags; a created file gets `permissions`
// less the process's umask. A directory cannot be opened (EISDIR).
int np_fio_open(const char* path, int flags, unsigned permissions,
                np_fio_file** handleOut);
// Creates a new, empty file with a unique name in `directory` (the system's
// temporary directory, $TMPDIR or else /tmp, when `directory` is null or
// empty), open for reading and writing, private to the user (0600). The name
// is `prefix` followed by six random characters; its full path is written to
// `pathBuffer` (bufferSize bytes; ENAMETOOLONG when it does not fit). The file
// stays on disk after np_fio_close unless np_fio_remove_on_close was called;
// otherwise the caller removes it with np_fio_unlink.
int np_fio_tmpfile(const char* directory, const char* prefix, char* pathBuffer,
                   size_t bufferSize, np_fio_file** handleOut);
// Makes np_fio_close remove the file at `path` (a copy is kept). 0, or
// ENOMEM.
int np_fio_remove_on_close(np_fio_file* handle, const char* path);
// Closes the descriptor and frees the handle (also when closing reports an
// error, which is returned). Null is ignored.
int np_fio_close(np_fio_file* handle);

// ---------------------------------------------------------------------------
// Bytes and lines

// Reads up to `size` bytes; *bytesRead is 0 at the end of the file.
int np_fio_read(np_fio_file* handle, void* buffer, size_t size,
                size_t* bytesRead);
// Writes all `size` bytes (a short write is continued; a failure part way
// leaves the bytes before it written).
int np_fio_write(np_fio_file* handle, const void* data, size_t size);
// Reads one line: the bytes up to and including the next "\n", or
// bufferSize-1 bytes when the line is longer, or what is left at the end of
// the file. The buffer is terminated; *length (when given) gets the bytes
// read, 0 at the end of the file. bufferSize must be at least 2 (EINVAL).
int np_fio_gets(np_fio_file* handle, char* buffer, size_t bufferSize,
                size_t* length);
// Writes `text` and a "\n".
int np_fio_puts(np_fio_file* handle, const char* text);

// Positional transfers: they neither use nor move the file position, so they
// mix freely with np_fio_read/np_fio_write on one handle.
// Reads up to `size` bytes at byte `offset`; *bytesRead is less than `size`
// only when the file ends first (0 at or past the end).
int np_fio_pread(np_fio_file* handle, void* buffer, size_t size,
                 int64_t offset, size_t* bytesRead);
// Writes all `size` bytes at byte `offset`, extending the file when needed
// (a failure part way leaves the bytes before it written). On a handle
// opened with NP_FIO_APPEND the system writes at the end instead.
int np_fio_pwrite(np_fio_file* handle, const void* data, size_t size,
                  int64_t offset);

// Reads the whole file at `path` into one new block (np_mem_alloc) with a
// NUL after the last byte, not counted in *size, so that text can be used as
// a C string. The caller frees *data with np_mem_free. EFBIG when the file
// holds more than `maxBytes` bytes, ENOMEM, or any error of opening or
// reading; *data is null and *size 0 on failure.
int np_fio_read_file(const char* path, size_t maxBytes, char** data,
                     size_t* size);

// Marks the descriptor under a C stream close-on-exec, for streams that a
// library opened without O_CLOEXEC. 0, EINVAL for a stream without one, or
// the system's error.
int np_fio_stream_cloexec(FILE* stream);

// ---------------------------------------------------------------------------
// Position, size and durability

// Moves the position; *position (when given) gets the new one. The 32-bit
// form fails with EOVERFLOW (position unchanged) when the new position does
// not fit in 31 bits.
int np_fio_seek(np_fio_file* handle, int32_t offset, int origin,
                int32_t* position);
int np_fio_seek64(np_fio_file* handle, int64_t offset, int origin,
                  int64_t* position);
// Cuts or extends the file to `size` bytes; the position is not moved.
int np_fio_truncate(np_fio_file* handle, int64_t size);
// Flushes the file's data and metadata to the device (fsync).
int np_fio_sync(np_fio_file* handle);
// Flushes a directory's entries to the device, so that a rename or a new
// file in it survives a crash.
int np_fio_syncdir(const char* directory);
int np_fio_fstat(np_fio_file* handle, np_fio_info* info);
// Sets the permission bits of the open file.
int np_fio_chmod(np_fio_file* handle, unsigned permissions);

// ---------------------------------------------------------------------------
// Paths in the file system

// 0 when `path` exists (following symbolic links), else the error number.
int np_fio_stat(const char* path);
int np_fio_statx(const char* path, np_fio_info* info);
int np_fio_unlink(const char* path);
// Renames `from` to `to`, replacing `to` atomically when it exists.
int np_fio_rename(const char* from, const char* to);
int np_fio_mkdir(const char* path, unsigned permissions);
int np_fio_rmdir(const char* path);
// The absolute path of an existing `path` with every symbolic link, "." and
// ".." resolved. ENAMETOOLONG when it does not fit `bufferSize` bytes.
int np_fio_realpath(const char* path, char* buffer, size_t bufferSize);
// The permission bits a newly created file gets from 0666 under the current
// umask (read without changing it).
unsigned np_fio_default_permissions(void);

// Calls `visit` for every entry of `directory` except "." and "..", in the
// order the system gives them, with the entry's name and its kind
// (NP_FIO_TYPE_*; a symbolic link counts as what it points to, a dangling one
// as OTHER). A non-zero result of `visit` stops the walk and is returned.
typedef int (*np_fio_dir_visitor)(void* context, const char* name, int type);
int np_fio_listdir(const char* directory, np_fio_dir_visitor visit,
                   void* context);

// ---------------------------------------------------------------------------
// Errors

// The system's text for `code` ("No such file or directory") in `buffer`,
// which is returned; always terminated (size >= 1).
const char* np_fio_errdesc(int code, char* buffer, size_t size);

// ---------------------------------------------------------------------------
// Path text (no file-system access)

// Joins a directory and a name with exactly one "/" between them: no "/" is
// added when `directory` is empty or already ends in "/", and leading "/"s of
// `name` are dropped when a directory is given. An empty name gives the
// directory as it is. Writes at most `outSize` bytes plus a terminator, so
// `out` must hold outSize + 1 bytes. ENAMETOOLONG when the result is longer;
// EINVAL for a null argument.
//   ("/a", "b") -> "/a/b"   ("/a/", "b") -> "/a/b"   ("", "b") -> "b"
//   ("/", "b") -> "/b"      ("a", "/b") -> "a/b"     ("a", "") -> "a"
int np_fio_pcat(const char* directory, const char* name, char* out,
                size_t outSize);
// Splits `path` at its last "/" into the directory part and the name part
// (each written with its terminator into a buffer of the given size;
// ENAMETOOLONG, with both buffers unspecified, when one does not fit; EINVAL
// for a null argument). The directory part loses its trailing "/"s unless it
// is the root; a path without "/" has the empty directory part:
//   "/a/b" -> "/a" + "b"    "b" -> "" + "b"       "/b" -> "/" + "b"
//   "a/b/" -> "a/b" + ""    "" -> "" + ""         "//b" -> "/" + "b"
int np_fio_pparse(const char* path, char* directoryOut, size_t directorySize,
                  char* nameOut, size_t nameSize);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_NP_FIO_H_
