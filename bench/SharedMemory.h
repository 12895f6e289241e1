#pragma once

#include <set>
#include <string>
#include <sys/types.h>

namespace bench {

/// What Fast RTPS leaves in /dev/shm when a process dies without taking its participant down.
///
/// A segment's owner holds a file lock on `<segment>_el` as long as it lives, so a segment whose
/// lock can be had is nobody's. Only names that were seen in a process of our own are looked at.

/// Adds the names of the transport's segments that process `pid` has mapped now.
void addMappedSegments(pid_t pid, std::set<std::string>& names);

/// Removes those of `names` whose owner is dead. Returns how many files went.
int removeDeadSegments(const std::set<std::string>& names);

/// Removes the port files and semaphores of a DDS domain. Only for a domain that the caller holds
/// for itself (DomainLock) and in which no process of it runs. Returns how many files went.
int removeDomainPorts(int domain);

}  // namespace bench
