// SPDX-License-Identifier: GPL-2.0
/*
 * The generic-netlink family SYSSTATS, about the machine's processes and memory; sysstats.h
 * describes its messages. Two parameters of the module are for trying clients out:
 *
 *   sysstats_version     the family's version, at loading
 *   sysstats_misbehave   a value of enum sysstats_misbehaviour, at any time
 */
#include <linux/cpumask.h>
#include <linux/fs.h>
#include <linux/module.h>
#include <linux/pid_namespace.h>
#include <linux/sched/loadavg.h>
#include <linux/sched/mm.h>
#include <linux/sched/signal.h>
#include <net/genetlink.h>

#include "lmdevice.h"
#include "sysstats.h"

static int sysstats_version = SYSSTATS_VERSION;
module_param(sysstats_version, int, 0444);
MODULE_PARM_DESC(sysstats_version, "version of the family SYSSTATS");

static int sysstats_misbehave;
module_param(sysstats_misbehave, int, 0644);
MODULE_PARM_DESC(sysstats_misbehave,
		 "0 not, 1 short payloads, 2 unknown attributes, 3 errors, 4 no answers");

static struct genl_family family;

static bool misbehaves(enum sysstats_misbehaviour how)
{
	return READ_ONCE(sysstats_misbehave) == how;
}

/* After -EINTR, netlink sends neither an error nor an acknowledgement. */
static int deliberate_failure(void)
{
	if (misbehaves(SYSSTATS_MISBEHAVE_ERROR))
		return -EIO;
	return misbehaves(SYSSTATS_MISBEHAVE_SILENT) ? -EINTR : 0;
}

static int get_u32(const struct nlmsghdr *request, int type, u32 *value)
{
	const struct nlattr *attribute = nlmsg_find_attr(request, GENL_HDRLEN, type);

	if (!attribute || nla_len(attribute) < sizeof(*value))
		return -EINVAL;
	*value = nla_get_u32(attribute);
	return 0;
}

static size_t short_size(size_t size)
{
	return size > 200 ? 200 : size > 100 ? 100 : 4;
}

static int put_message(struct sk_buff *skb, u32 portid, const struct nlmsghdr *request, int flags,
		       int type, const void *data, size_t size)
{
	const struct genlmsghdr *asked = nlmsg_data(request);
	void *message = genlmsg_put(skb, portid, request->nlmsg_seq, &family, flags, asked->cmd);

	if (!message)
		return -EMSGSIZE;
	if (misbehaves(SYSSTATS_MISBEHAVE_UNKNOWN) &&
	    (nla_put_u32(skb, 6, 0) || nla_put_u32(skb, 2, 0)))
		goto full;
	if (misbehaves(SYSSTATS_MISBEHAVE_SHORT))
		size = short_size(size);
	if (nla_put(skb, type, size, data))
		goto full;
	genlmsg_end(skb, message);
	return 0;
full:
	genlmsg_cancel(skb, message);
	return -EMSGSIZE;
}

static int reply(struct genl_info *info, int type, const void *data, size_t size)
{
	struct sk_buff *skb = genlmsg_new(NLMSG_DEFAULT_SIZE, GFP_KERNEL);
	int error;

	if (!skb)
		return -ENOMEM;
	error = put_message(skb, info->snd_portid, info->nlhdr, 0, type, data, size);
	if (error) {
		nlmsg_free(skb);
		return error;
	}
	return genlmsg_reply(skb, info);
}

/* The process with the lowest PID from *pid on, which becomes that PID, or NULL. */
static struct task_struct *get_process_from(int *pid)
{
	struct task_struct *task = NULL;
	struct pid *found;

	rcu_read_lock();
	while (!task && (found = find_ge_pid(*pid, &init_pid_ns))) {
		*pid = pid_nr(found);
		task = get_pid_task(found, PIDTYPE_TGID);
		if (!task)
			(*pid)++;
	}
	rcu_read_unlock();
	return task;
}

static void add_thread(struct sysstats_pid_record *record, const struct task_struct *thread)
{
	record->user_ns += thread->utime;
	record->system_ns += thread->stime;
	record->voluntary_switches += thread->nvcsw;
	record->involuntary_switches += thread->nivcsw;
	record->minor_faults += thread->min_flt;
	record->major_faults += thread->maj_flt;
}

/* The counts of a thread move to its group when it ends; the sequence tells when that happened. */
static void set_counts(struct sysstats_pid_record *record, struct task_struct *task)
{
	struct signal_struct *group = task->signal;
	const struct task_struct *thread;
	unsigned int sequence;

	rcu_read_lock();
	do {
		sequence = read_seqbegin(&group->stats_lock);
		record->user_ns = group->utime;
		record->system_ns = group->stime;
		record->voluntary_switches = group->nvcsw;
		record->involuntary_switches = group->nivcsw;
		record->minor_faults = group->min_flt;
		record->major_faults = group->maj_flt;
		for_each_thread(task, thread)
			add_thread(record, thread);
	} while (read_seqretry(&group->stats_lock, sequence));
	rcu_read_unlock();
}

static void set_memory(struct sysstats_pid_record *record, struct task_struct *task)
{
	task_lock(task);
	if (task->mm) {
		record->virtual_kb = task->mm->total_vm << (PAGE_SHIFT - 10);
		record->resident_kb = get_mm_rss(task->mm) << (PAGE_SHIFT - 10);
	}
	task_unlock(task);
}

static void fill_pid_record(struct sysstats_pid_record *record, struct task_struct *task)
{
	memset(record, 0, sizeof(*record));
	record->pid = task_tgid_nr(task);
	record->parent_pid = task_ppid_nr(task);
	record->threads = get_nr_threads(task);
	record->start_ns = task->start_boottime;
	set_counts(record, task);
	set_memory(record, task);
	record->uid = from_kuid_munged(&init_user_ns, task_uid(task));
	record->nice = task_nice(task);
	record->state = task_state_to_char(task);
	get_task_comm(record->name, task);
}

static int pid_doit(struct sk_buff *skb, struct genl_info *info)
{
	struct sysstats_pid_record record;
	struct task_struct *task;
	u32 pid;
	int error = deliberate_failure() ?: get_u32(info->nlhdr, SYSSTATS_REQUEST_PID, &pid);

	if (error)
		return error;
	rcu_read_lock();
	task = get_pid_task(find_pid_ns(pid, &init_pid_ns), PIDTYPE_TGID);
	rcu_read_unlock();
	if (!task)
		return -ESRCH;
	fill_pid_record(&record, task);
	put_task_struct(task);
	return reply(info, SYSSTATS_ANSWER_PID, &record, sizeof(record));
}

/* How far a dump has come; kept in its netlink_callback. */
struct dump_state {
	int (*put)(struct sk_buff *skb, struct netlink_callback *cb, struct task_struct *task);
	int next_pid;
	int last_pid;
	char name[TASK_COMM_LEN];
};

static struct dump_state *dump_state(struct netlink_callback *cb)
{
	BUILD_BUG_ON(sizeof(struct dump_state) > sizeof(cb->args));
	return (struct dump_state *)cb->args;
}

static int dump_processes(struct sk_buff *skb, struct netlink_callback *cb)
{
	struct dump_state *state = dump_state(cb);
	struct task_struct *task;
	int error = 0;

	for (; state->next_pid <= state->last_pid; state->next_pid++) {
		task = get_process_from(&state->next_pid);
		if (!task)
			break;
		if (state->next_pid <= state->last_pid)
			error = state->put(skb, cb, task);
		put_task_struct(task);
		if (error)
			break;
	}
	return skb->len;
}

static int put_pid_record(struct sk_buff *skb, struct netlink_callback *cb,
			  struct task_struct *task)
{
	struct sysstats_pid_record record;

	fill_pid_record(&record, task);
	return put_message(skb, NETLINK_CB(cb->skb).portid, cb->nlh, NLM_F_MULTI,
			   SYSSTATS_ANSWER_PID_RECORD, &record, sizeof(record));
}

static int range_start(struct netlink_callback *cb)
{
	struct dump_state *state = dump_state(cb);
	u32 range;
	int error = deliberate_failure() ?:
		    get_u32(cb->nlh, SYSSTATS_REQUEST_PID_RANGE, &range);

	if (error)
		return error;
	state->put = put_pid_record;
	state->next_pid = min(range & 0xffff, range >> 16);
	state->last_pid = max(range & 0xffff, range >> 16);
	return 0;
}

static int put_pid_entry(struct sk_buff *skb, struct netlink_callback *cb,
			 struct task_struct *task)
{
	struct sysstats_pid_entry entry = {
		.pid = task_tgid_nr(task),
		.threads = get_nr_threads(task),
	};
	char name[TASK_COMM_LEN];

	get_task_comm(name, task);
	if (strcmp(name, dump_state(cb)->name))
		return 0;
	return put_message(skb, NETLINK_CB(cb->skb).portid, cb->nlh, NLM_F_MULTI,
			   SYSSTATS_ANSWER_PID_ENTRY, &entry, sizeof(entry));
}

static int name_start(struct netlink_callback *cb)
{
	const struct nlattr *name = nlmsg_find_attr(cb->nlh, GENL_HDRLEN, SYSSTATS_REQUEST_NAME);
	struct dump_state *state = dump_state(cb);
	int error = deliberate_failure();

	if (error)
		return error;
	if (!name)
		return -EINVAL;
	state->put = put_pid_entry;
	state->next_pid = 1;
	state->last_pid = PID_MAX_LIMIT;
	nla_strscpy(state->name, name, sizeof(state->name));
	return 0;
}

/* The kernel exports the amounts of swap and vmalloc to modules in no other way. */
static int read_meminfo(char *text, size_t size)
{
	struct file *file = filp_open("/proc/meminfo", O_RDONLY, 0);
	loff_t position = 0;
	ssize_t length;

	if (IS_ERR(file))
		return PTR_ERR(file);
	length = kernel_read(file, text, size - 1, &position);
	filp_close(file, NULL);
	if (length < 0)
		return length;
	text[length] = '\0';
	return 0;
}

/* strstr() may find name at the end of a longer one; in /proc/meminfo the first match is the right one. */
static u64 meminfo_kb(const char *text, const char *name)
{
	const char *line = strstr(text, name);
	u64 kb = 0;

	if (line)
		sscanf(line + strlen(name), " %llu", &kb);
	return kb;
}

static int set_system_memory(struct sysstats_system_record *record)
{
	char *text = kmalloc(PAGE_SIZE, GFP_KERNEL);
	int error = text ? read_meminfo(text, PAGE_SIZE) : -ENOMEM;

	if (!error) {
		record->total_kb = meminfo_kb(text, "MemTotal:");
		record->free_kb = meminfo_kb(text, "MemFree:");
		record->available_kb = meminfo_kb(text, "MemAvailable:");
		record->cached_kb = meminfo_kb(text, "Cached:");
		record->swap_total_kb = meminfo_kb(text, "SwapTotal:");
		record->swap_used_kb = record->swap_total_kb - meminfo_kb(text, "SwapFree:");
		record->vmalloc_total_kb = meminfo_kb(text, "VmallocTotal:");
		record->vmalloc_used_kb = meminfo_kb(text, "VmallocUsed:");
		record->shared_kb = meminfo_kb(text, "Shmem:");
		record->buffers_kb = meminfo_kb(text, "Buffers:");
	}
	kfree(text);
	return error;
}

static void count_processes(struct sysstats_system_record *record)
{
	struct task_struct *task;

	rcu_read_lock();
	for_each_process(task) {
		record->processes++;
		record->threads += get_nr_threads(task);
	}
	rcu_read_unlock();
}

static u64 load_hundredths(unsigned long average)
{
	average += FIXED_1 / 200;
	return LOAD_INT(average) * 100 + LOAD_FRAC(average);
}

static int system_doit(struct sk_buff *skb, struct genl_info *info)
{
	struct sysstats_system_record record = {};
	unsigned int i;
	u32 all;
	int error = deliberate_failure() ?:
		    get_u32(info->nlhdr, SYSSTATS_REQUEST_SYSTEM_ALL, &all);

	if (!error && all != SYSSTATS_ALL)
		error = -EINVAL;
	if (!error)
		error = set_system_memory(&record);
	if (error)
		return error;
	record.page_size = PAGE_SIZE;
	record.online_cpus = num_online_cpus();
	record.uptime_ns = ktime_get_boottime_ns();
	for (i = 0; i < ARRAY_SIZE(record.load_hundredths); i++)
		record.load_hundredths[i] = load_hundredths(READ_ONCE(avenrun[i]));
	count_processes(&record);
	return reply(info, SYSSTATS_ANSWER_SYSTEM_RECORD, &record, sizeof(record));
}

static const struct genl_ops operations[] = {
	{ .cmd = SYSSTATS_CMD_PID, .doit = pid_doit,
	  .start = range_start, .dumpit = dump_processes },
	{ .cmd = SYSSTATS_CMD_SYSTEM, .doit = system_doit },
	{ .cmd = SYSSTATS_CMD_NAME, .start = name_start, .dumpit = dump_processes },
};

/*
 * Parsing by a policy would lose the attribute of type 0, so there is none, and each operation
 * finds its attribute itself. From resv_start_op on, the core would refuse such attributes.
 */
static struct genl_family family = {
	.name = SYSSTATS_FAMILY,
	.ops = operations,
	.n_ops = ARRAY_SIZE(operations),
	.resv_start_op = SYSSTATS_CMD_NAME + 1,
	.parallel_ops = true,
	.module = THIS_MODULE,
};

int sysstats_init(void)
{
	family.version = sysstats_version;
	return genl_register_family(&family);
}

void sysstats_exit(void)
{
	genl_unregister_family(&family);
}
