#pragma once

/// Puts the process under SCHED_FIFO with `priority`, moved into the range that the system allows
/// (1 to 99 when it does not tell). Returns false when the system refuses; mostly the process
/// then lacks the privilege.
bool okSetRealtimeProcessPriority(int priority);

/// Binds the calling thread, and the threads that it starts from then on, to one processor.
/// `processor` counts from 1; 0 or a number above 1024 is refused.
///
/// On success writes "Has CPU Affinity for CPU<n>" to standard output, where n is the system's
/// number of the processor, from 0. Returns false, and writes nothing, when the system refuses.
bool okSetCpuAffinity(unsigned processor);
