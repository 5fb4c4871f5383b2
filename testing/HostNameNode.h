#pragma once

/**
 * A kernel node to notify: the host name in a private UTS namespace. Who polls it wakes with POLLPRI at
 * each notify(), in every process of the machine.
 *
 * Threads started after construction share the namespace. Without root, a user namespace is made too,
 * which the kernel allows only while the process has a single thread.
 */
class HostNameNode {
 public:
  static constexpr char kPath[] = "/proc/sys/kernel/hostname";

  /** Throws std::system_error when the namespace is refused. */
  HostNameNode();

  /** Notifies once, from any thread. Those that a poller has not consumed yet reach it as one. */
  void notify() const;
};
