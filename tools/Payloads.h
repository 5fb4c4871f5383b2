#pragma once

#include <string>

#include "LMDatabase.h"

/** The store's own payloads as text: a launch count, or what a slot holds. */
using LaunchPayload = _preKill_User_Launched_Data;
using SlotPayload = _preKill_Favorite_Time_Slot_Data;

/** Why text is none of a slot, or of a launch count, or nothing. */
std::string payloadProblem(const std::string& text, bool slots);

/** Sets payload from a text for which payloadProblem() is empty. */
void setPayload(LaunchPayload& payload, const std::string& text);
void setPayload(SlotPayload& payload, const std::string& text);
