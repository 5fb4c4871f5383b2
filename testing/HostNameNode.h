#pragma once

/**
 * A real kernel node to notify: the host name of a private UTS name space. Its pollers wake with
 * POLLPRI on every notify().
 *
 * Threads started after construction share the name space. Without root a user name space is made
 * too, which the kernel allows only while the process has a single thread.
 */
class HostNameNode {
 public:
  static constexpr char kPath[] = "/proc/sys/kernel/hostname";

  /** Throws std::system_error when the name space is refused. */
  HostNameNode();

  /** Notifies once. Notifications that no poller has consumed yet become one. Any thread. */
  void notify() const;
};
