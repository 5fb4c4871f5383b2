#pragma once

#include <string>

#include "detail/LMAttributes.h"

/**
 * The host's stand-in of the framework's core library: a DynamicLoader whose store and texts a
 * program fills itself. All functions may be called from any thread, also while the library looks
 * things up; a look-up sees the old value or the new one.
 *
 *     hostcore::setItem(22, "/sys/class/drm/card0/vsync");
 *     VsyncEvent::getInstance();  // polls that node
 */
namespace hostcore {

/** Sets the value of an item. Throws std::length_error above 149 bytes; the old value stays. */
LM_API void setItem(int item, std::string value);

/** Makes an item unknown. */
LM_API void clearItem(int item);

/** Sets the text of a key, of any length. */
LM_API void setText(int key, std::string text);

/** Makes a key unknown: fetching it gives null. */
LM_API void clearText(int key);

/** Shows the store to the library (the default), or hides it: DynamicLoader::mStore is null. */
LM_API void enableStore(bool enabled);

/** Shows the text hook, DynamicLoader::mFetchConfigText, to the library (the default), or hides it. */
LM_API void enableText(bool enabled);

}  // namespace hostcore
