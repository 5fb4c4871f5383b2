/* SPDX-License-Identifier: GPL-2.0 WITH Linux-syscall-note */
/*
 * The generic-netlink family SYSSTATS, for the module and for programs.
 *
 *   request                                          answer
 *   SYSSTATS_CMD_PID, attribute PID                  one record in attribute PID, or -ESRCH
 *   SYSSTATS_CMD_PID as a dump, attribute PID_RANGE  a message with PID_RECORD for each process
 *   SYSSTATS_CMD_SYSTEM, attribute SYSTEM_ALL        one record in attribute SYSTEM_RECORD
 *   SYSSTATS_CMD_NAME as a dump, attribute NAME      a message with PID_ENTRY for each process
 *
 * PIDs are those of the initial PID namespace. A process's numbers are its whole thread group's.
 */
#ifndef SYSSTATS_H
#define SYSSTATS_H

#include <linux/types.h>
#ifdef __KERNEL__
#include <linux/build_bug.h>
#else
#include <assert.h>
#endif

#define SYSSTATS_FAMILY "SYSSTATS"
#define SYSSTATS_VERSION 2

enum sysstats_command {
	SYSSTATS_CMD_PID = 1,
	SYSSTATS_CMD_SYSTEM = 3,
	SYSSTATS_CMD_NAME = 5,
};

/* In requests. */
enum sysstats_request_attribute {
	SYSSTATS_REQUEST_SYSTEM_ALL = 0, /* u32, SYSSTATS_ALL */
	SYSSTATS_REQUEST_PID = 1,        /* u32 */
	SYSSTATS_REQUEST_PID_RANGE = 2,  /* u32, a bound in each half; both belong to the range */
	SYSSTATS_REQUEST_NAME = 3,       /* without NUL; the first 15 bytes count */
};

#define SYSSTATS_ALL 0xFFFFFFFFu

/* In answers. */
enum sysstats_answer_attribute {
	SYSSTATS_ANSWER_PID = 1,           /* struct sysstats_pid_record */
	SYSSTATS_ANSWER_PID_RECORD = 3,    /* struct sysstats_pid_record */
	SYSSTATS_ANSWER_SYSTEM_RECORD = 4, /* struct sysstats_system_record */
	SYSSTATS_ANSWER_PID_ENTRY = 5,     /* struct sysstats_pid_entry */
};

/* The module's parameter sysstats_misbehave. */
enum sysstats_misbehaviour {
	SYSSTATS_MISBEHAVE_NOT = 0,
	SYSSTATS_MISBEHAVE_SHORT = 1,   /* 100 bytes of 152, 200 of 288, 4 of 8 */
	SYSSTATS_MISBEHAVE_UNKNOWN = 2, /* attributes 6 and 2, a u32 each, before the right one */
	SYSSTATS_MISBEHAVE_ERROR = 3,   /* every request fails with -EIO */
	SYSSTATS_MISBEHAVE_SILENT = 4,  /* neither an answer nor an acknowledgement */
};

struct sysstats_pid_record {
	__u64 pid;
	__u64 parent_pid;
	__u64 threads;
	__u64 start_ns; /* since boot, with time asleep */
	__u64 user_ns; /* this and the next as the timer tick samples them */
	__u64 system_ns;
	__u64 virtual_kb;
	__u64 resident_kb;
	__u64 voluntary_switches;
	__u64 involuntary_switches;
	__u64 minor_faults;
	__u64 major_faults;
	__u64 uid;
	__s64 nice;  /* of the first thread */
	__u64 state; /* of the first thread: 'R', 'S', 'D', 'T', 't', 'X', 'Z', 'P' or 'I' */
	char name[16];
	__u64 reserved[2];
};

/* Memory is as in /proc/meminfo. */
struct sysstats_system_record {
	__u64 total_kb;
	__u64 free_kb;
	__u64 available_kb;
	__u64 cached_kb;
	__u64 swap_used_kb;
	__u64 swap_total_kb;
	__u64 vmalloc_total_kb;
	__u64 vmalloc_used_kb;
	__u64 shared_kb;
	__u64 buffers_kb;
	__u64 page_size; /* bytes */
	__u64 online_cpus;
	__u64 processes;
	__u64 threads;
	__u64 uptime_ns;          /* with time asleep */
	__u64 load_hundredths[3]; /* averages over 1, 5 and 15 minutes */
	__u64 reserved[18];
};

struct sysstats_pid_entry {
	__u32 pid;
	__u32 threads;
};

static_assert(sizeof(struct sysstats_pid_record) == 152, "a layout that programs rely on");
static_assert(sizeof(struct sysstats_system_record) == 288, "a layout that programs rely on");
static_assert(sizeof(struct sysstats_pid_entry) == 8, "a layout that programs rely on");

#endif
