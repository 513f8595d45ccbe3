#include "Platform/SystemCalls.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

namespace corvane::Platform {
namespace {

constinit SystemCalls theSystem;
constinit SystemCalls* callsInUse = &theSystem;

}  // namespace

int SystemCalls::open(const char* path, int flags, mode_t mode) {
  return ::open(path, flags, mode);
}
int SystemCalls::openat(int directory, const char* path, int flags, mode_t mode) {
  return ::openat(directory, path, flags, mode);
}
int SystemCalls::close(int descriptor) {
  return ::close(descriptor);
}
ssize_t SystemCalls::read(int descriptor, void* bytes, std::size_t count) {
  return ::read(descriptor, bytes, count);
}
ssize_t SystemCalls::write(int descriptor, const void* bytes, std::size_t count) {
  return ::write(descriptor, bytes, count);
}
ssize_t SystemCalls::writev(int descriptor, const struct iovec* pieces, int count) {
  return ::writev(descriptor, pieces, count);
}
ssize_t SystemCalls::pread(int descriptor, void* bytes, std::size_t count, off_t offset) {
  return ::pread(descriptor, bytes, count, offset);
}
ssize_t SystemCalls::pwritev(int descriptor, const struct iovec* pieces, int count, off_t offset) {
  return ::pwritev(descriptor, pieces, count, offset);
}
off_t SystemCalls::lseek(int descriptor, off_t offset, int whence) {
  return ::lseek(descriptor, offset, whence);
}
int SystemCalls::ftruncate(int descriptor, off_t size) {
  return ::ftruncate(descriptor, size);
}
int SystemCalls::fstat(int descriptor, struct stat* status) {
  return ::fstat(descriptor, status);
}
int SystemCalls::stat(const char* path, struct stat* status) {
  return ::stat(path, status);
}
int SystemCalls::lstat(const char* path, struct stat* status) {
  return ::lstat(path, status);
}
int SystemCalls::fstatat(int directory, const char* path, struct stat* status, int flags) {
  return ::fstatat(directory, path, status, flags);
}
int SystemCalls::flock(int descriptor, int operation) {
  return ::flock(descriptor, operation);
}
int SystemCalls::fchmod(int descriptor, mode_t mode) {
  return ::fchmod(descriptor, mode);
}
int SystemCalls::mkdir(const char* path, mode_t mode) {
  return ::mkdir(path, mode);
}
int SystemCalls::mkdirat(int directory, const char* path, mode_t mode) {
  return ::mkdirat(directory, path, mode);
}
int SystemCalls::rmdir(const char* path) {
  return ::rmdir(path);
}
int SystemCalls::unlink(const char* path) {
  return ::unlink(path);
}
int SystemCalls::unlinkat(int directory, const char* path, int flags) {
  return ::unlinkat(directory, path, flags);
}
int SystemCalls::linkat(int directory, const char* path, int newDirectory, const char* newPath,
                        int flags) {
  return ::linkat(directory, path, newDirectory, newPath, flags);
}
int SystemCalls::renameat(int directory, const char* path, int newDirectory, const char* newPath) {
  return ::renameat(directory, path, newDirectory, newPath);
}
ssize_t SystemCalls::readlink(const char* path, char* target, std::size_t count) {
  return ::readlink(path, target, count);
}
int SystemCalls::access(const char* path, int mode) {
  return ::access(path, mode);
}
int SystemCalls::dup2(int descriptor, int number) {
  return ::dup2(descriptor, number);
}
int SystemCalls::fcntl(int descriptor, int command, int argument) {
  return ::fcntl(descriptor, command, argument);
}
int SystemCalls::lockRecord(int descriptor, int command, struct flock* lock) {
  return ::fcntl(descriptor, command, lock);
}
int SystemCalls::poll(struct pollfd* descriptors, nfds_t count, int milliseconds) {
  return ::poll(descriptors, count, milliseconds);
}
int SystemCalls::socket(int domain, int type, int protocol) {
  return ::socket(domain, type, protocol);
}
int SystemCalls::bind(int socket, const struct sockaddr* address, socklen_t length) {
  return ::bind(socket, address, length);
}
int SystemCalls::connect(int socket, const struct sockaddr* address, socklen_t length) {
  return ::connect(socket, address, length);
}
ssize_t SystemCalls::send(int socket, const void* bytes, std::size_t count, int flags) {
  return ::send(socket, bytes, count, flags);
}
ssize_t SystemCalls::recv(int socket, void* bytes, std::size_t count, int flags) {
  return ::recv(socket, bytes, count, flags);
}
int SystemCalls::kill(pid_t process, int signal) {
  return ::kill(process, signal);
}
pid_t SystemCalls::fork() {
  return ::fork();
}
pid_t SystemCalls::waitpid(pid_t process, int* status, int options) {
  return ::waitpid(process, status, options);
}

int SystemCalls::startThread(void* (*body)(void*), void* argument) {
  pthread_t thread = {};
  errno = ::pthread_create(&thread, nullptr, body, argument);
  if (errno != 0) return -1;
  ::pthread_detach(thread);
  return 0;
}

int SystemCalls::getentropy(void* bytes, std::size_t count) {
  return ::getentropy(bytes, count);
}
pid_t SystemCalls::getpid() {
  return ::getpid();
}
pid_t SystemCalls::getppid() {
  return ::getppid();
}
std::thread::id SystemCalls::thisThread() {
  return std::this_thread::get_id();
}
std::chrono::steady_clock::time_point SystemCalls::steadyNow() {
  return std::chrono::steady_clock::now();
}
std::chrono::system_clock::time_point SystemCalls::wallNow() {
  return std::chrono::system_clock::now();
}

SystemCalls& SystemCalls::inUse() {
  return *callsInUse;
}

SystemCalls::Replacement::Replacement(SystemCalls& calls) : replaced_(callsInUse) {
  callsInUse = &calls;
}
SystemCalls::Replacement::~Replacement() {
  callsInUse = replaced_;
}

}  // namespace corvane::Platform
