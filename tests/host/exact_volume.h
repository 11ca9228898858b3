// Real mounts that only a test sees: in a mount namespace of its own, with the rights of a user
// namespace where the tests do not run as root.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace test {

// Runs the body in a child where it may mount what it likes; with the child it is all gone.  What
// fails in the body fails the test, and what it skips skips it.  Skips it too, with the reason,
// where this machine allows no mounts.  The child has none of the threads of the test.
void inOwnMounts(const std::function<void()>& body);

// Inside: a file system in memory of exactly that many bytes (whole pages), on a folder that is
// made when it is missing; and the end of any mount, however busy.
void mountExactly(uint64_t bytes, const std::string& folder);
void unmount(const std::string& folder);

// Both together: the body runs with a file system of that many bytes on each of these folders.
void withExactVolumes(const std::map<std::string, uint64_t>& bytesByFolder,
                      const std::function<void()>& body);

}  // namespace test
