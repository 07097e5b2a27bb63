#include "base/file.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/file_faults.h"
#include "base/file_system.h"
#include "base/locks.h"
#include "base/memory.h"
#include "base/permission_report.h"
#include "base/status.h"

namespace {

// Made and destroyed in the start-up sequence like every module's lock;
// nothing takes it, as the module keeps no shared table of open files.
upnp_plain_lock* g_file_lock = nullptr;

// The three descriptor-level opens. A refused open explains itself in the
// log when it was a matter of rights; errno survives for the caller.
int open_descriptor(const char* path, int flags) {
  const int fd = open(path, flags | O_CLOEXEC, 0644);
  if (fd < 0) {
    const int saved = errno;
    upnp_file_diagnose(path);
    errno = saved;
  }
  return fd;
}

// Wraps a descriptor in a handle; on failure closes it and yields null.
upnp_file* make_handle(int fd, const char* path) {
  if (fd < 0) return nullptr;
  auto* file = static_cast<upnp_file*>(upnp_calloc(1, sizeof(upnp_file)));
  char* copy = file != nullptr ? upnp_strdup(path) : nullptr;
  if (copy == nullptr) {
    TrackedFree()(file);
    close(fd);
    errno = ENOMEM;
    return nullptr;
  }
  file->fd = fd;
  file->path = copy;
  return file;
}

int64_t size_of(const char* path, bool* ok) {
  upnp_file_info info;
  *ok = upnp_file_stat(path, &info) == 0;
  return *ok ? info.size : 0;
}

}  // namespace

extern "C" {

upnp_file* upnp_file_open_read(const char* path) {
  if (path == nullptr) return nullptr;
  upnp_file* file = make_handle(open_descriptor(path, O_RDONLY), path);
  if (file == nullptr) return nullptr;
  bool ok;
  file->size = size_of(path, &ok);
  if (!ok) {
    upnp_file_close(file);
    return nullptr;
  }
  return file;
}

upnp_file* upnp_file_open_append(const char* path) {
  if (path == nullptr) return nullptr;
  upnp_file* file = make_handle(open_descriptor(path, O_RDWR | O_CREAT | O_APPEND), path);
  if (file == nullptr) return nullptr;
  bool ok;
  file->size = size_of(path, &ok);
  return file;
}

upnp_file* upnp_file_open_write(const char* path) {
  if (path == nullptr) return nullptr;
  return make_handle(open_descriptor(path, O_WRONLY | O_CREAT), path);
}

upnp_file* upnp_file_create_new(const char* path) {
  if (path == nullptr || upnp_file_fault_hit(UPNP_FILE_CALL_CREATE)) return nullptr;
  return make_handle(open_descriptor(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW), path);
}

upnp_file* upnp_file_open_append_nofollow(const char* path) {
  if (path == nullptr || upnp_file_fault_hit(UPNP_FILE_CALL_CREATE)) return nullptr;
  return make_handle(open_descriptor(path, O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW), path);
}

int32_t upnp_file_close(upnp_file* file) {
  if (file == nullptr) return 0;
  upnp_free(file->path);
  const int32_t result = file->fd >= 0 ? close(file->fd) : 0;
  const int saved = errno;
  upnp_file_buffer* node = file->buffers;
  while (node != nullptr) {
    upnp_file_buffer* next = node->next;
    upnp_free(node->data);
    upnp_free(node);
    node = next;
  }
  upnp_free(file);
  errno = saved;
  return result;
}

int64_t upnp_file_read(upnp_file* file, void* buffer, uint64_t length) {
  if (file == nullptr) return -1;
  const ssize_t got = read(file->fd, buffer, length);
  if (got > 0) file->position += got;
  return got;
}

int64_t upnp_file_write(upnp_file* file, const void* buffer, uint64_t length) {
  if (file == nullptr) return -1;
  if (upnp_file_fault_hit(UPNP_FILE_CALL_WRITE)) return -1;
  return write(file->fd, buffer, length);
}

int32_t upnp_file_write_all(upnp_file* file, const void* buffer, uint64_t length) {
  if (file == nullptr) return -1;
  const char* at = static_cast<const char*>(buffer);
  while (length > 0) {
    const int64_t wrote = upnp_file_write(file, at, length);
    if (wrote < 0 && errno == EINTR) continue;
    if (wrote < 0) return -1;
    // A write that takes nothing would loop for ever; report it as a full disk.
    if (wrote == 0) {
      errno = ENOSPC;
      return -1;
    }
    at += wrote;
    length -= static_cast<uint64_t>(wrote);
  }
  return 0;
}

int64_t upnp_file_seek(upnp_file* file, int64_t offset, int32_t whence) {
  if (file == nullptr) return -1;
  const off_t now = lseek(file->fd, offset, whence);
  if (now < 0) return -1;
  file->position = now;
  return now;
}

int32_t upnp_file_eof(upnp_file* file) {
  if (file == nullptr) return 1;
  return file->position >= file->size ? 1 : 0;
}

char* upnp_file_gets(char* buffer, int32_t size, upnp_file* file) {
  if (buffer == nullptr || file == nullptr) return nullptr;
  if (size <= 0) return buffer;
  memset(buffer, 0, static_cast<size_t>(size));
  const int64_t got = upnp_file_read(file, buffer, static_cast<uint64_t>(size));
  if (got <= 0) return buffer;
  // The first byte is never taken as the end of the line unless it is the
  // newline itself, so an empty line comes back as "\n" alone.
  int64_t end = 0;
  if (buffer[0] != '\n') {
    const void* newline = got > 1 ? memchr(buffer + 1, '\n', static_cast<size_t>(got - 1)) : nullptr;
    if (newline == nullptr) return buffer;
    end = static_cast<const char*>(newline) - buffer;
  }
  upnp_file_seek(file, end + 1 - got, SEEK_CUR);
  if (size > end + 1) buffer[end + 1] = '\0';
  return buffer;
}

int32_t upnp_file_sync(upnp_file* file) {
  if (file == nullptr) return -1;
  if (upnp_file_fault_hit(UPNP_FILE_CALL_SYNC)) return -1;
  return fsync(file->fd);
}

namespace {

int sync_through(const char* path, int (*sync_call)(int)) {
  if (path == nullptr) return -1;
  if (upnp_file_fault_hit(UPNP_FILE_CALL_SYNC)) return -1;
  const int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return -1;
  const int result = sync_call(fd);
  const int saved = errno;
  close(fd);
  errno = saved;
  return result == 0 ? 0 : -1;
}

}  // namespace

int32_t upnp_file_sync_dir(const char* path) { return sync_through(path, fsync); }

int32_t upnp_file_sync_fs(const char* path) { return sync_through(path, syncfs); }

int32_t upnp_file_prepare(void) {
  if (upnp_lock_exists(&g_file_lock)) return 0;
  return upnp_lock_create(&g_file_lock) == 0 ? UPNP_OK : UPNP_FAILED;
}

void upnp_file_release(void) {
  if (upnp_lock_exists(&g_file_lock)) upnp_lock_destroy(&g_file_lock);
}

}  // extern "C"
