#pragma once

#include <cstdint>
#include <string>

/// The figures that each want a process of their own. Each function is one, and prints lines of a name and a number;
/// `file` is the store's.
namespace fliprugair::bench {

/// So many calls of trackEvent and nothing else, to be counted from outside.
void callsOnVirtualDevice(std::int64_t calls);
void callsWithStore(std::int64_t calls, const std::string& file);
/// Or so many commits of a record's bytes with SQLite alone.
void commitsAlone(std::int64_t commits, const std::string& file);

/// So many calls while their batches are being sent, each beside the floor's commit of the same bytes in `floorFile`;
/// in microseconds.
void callsBesideCommits(std::int64_t calls, const std::string& file, const std::string& floorFile);

/// An installed application, in whose store so many events wait in full batches.
void fill(std::int64_t events, const std::string& file);
/// Its start, in milliseconds.
void start(const std::string& file);
/// Its memory after the start, and once it is active and its host does not answer, in kibibytes.
void memoryWaiting(const std::string& file);

/// Sends all `batches` of a store, in milliseconds, and says how large its file was before, and after a while of rest.
void resend(std::int64_t batches, const std::string& file);
/// Posts the same bodies with libcurl's multi handle, in milliseconds.
void postBodies(const std::string& file);

/// The memory of a tracker that has sent everything and rests, and of this very program without one, in kibibytes.
void memoryIdle(const std::string& file);
void memoryOfProgram();
/// And of this program when it has made one commit with SQLite and one request with libcurl.
void memoryOfLibraries(const std::string& file);

/// The bytes that an event of 60 random hexadecimal digits takes in full batches, heads of the requests included.
void wire(bool takesGzip, std::int64_t events, const std::string& file);

}  // namespace fliprugair::bench
