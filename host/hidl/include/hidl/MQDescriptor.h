#pragma once

// Included by every generated header; the interfaces here pass no message queues.
