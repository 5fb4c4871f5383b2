#pragma once

#include <string>

/**
 * The host's stand-in of the platform's service manager, for services and clients in one process.
 * Register a service with its own registerAsService(); IServicetracker::getService() finds it, as
 * each version that it implements, and gives null without waiting when there is none. All functions
 * may be called from any thread.
 *
 *     sp<Tracker> tracker = new Tracker;  // extends V1_1::IServicetracker
 *     tracker->registerAsService();
 *     ...
 *     hosthidl::killService(V1_1::IServicetracker::descriptor);
 */
namespace hosthidl {

/**
 * Unregisters the service of that interface and instance, in all its versions. Clients that hold it
 * can still call it. Returns false when there is none.
 */
[[gnu::visibility("default")]] bool unregisterService(const std::string& descriptor,
                                                      const std::string& name = "default");

/**
 * Unregisters the service as if its process had died. Calls serviceDied() of each recipient that
 * was linked by IBase's linkToDeath() and that somebody still holds, on the calling thread and in
 * the order of the links, and ends the links. A dead service accepts no links until it is registered
 * again.
 *
 * Note: clients can still call the dead service; make it return a failed Status to have that fail.
 */
[[gnu::visibility("default")]] bool killService(const std::string& descriptor,
                                                const std::string& name = "default");

}  // namespace hosthidl
