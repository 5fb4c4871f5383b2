// SPDX-License-Identifier: GPL-2.0
/*
 * The kernel side of a simulated device, in /sys/kernel/lmdevice:
 *
 *   vsync        notified with POLLPRI at vsync_rate; its text is when, in ns of CLOCK_MONOTONIC
 *   vsync_rate   Hz, 1 to 1000; 0 stops
 *   frame_data   a read sleeps until frames were made and returns their records
 *   frame_ctrl   a number above 0 makes frames at that rate in Hz, up to 1000; -1 stops
 *   control0-3   keep the text that is written
 *   vsyncs, frames, frames_lost, writes   counts: vsyncs raised, frames made, frames overwritten
 *                unread, and writes accepted
 */
#include <linux/hrtimer.h>
#include <linux/kobject.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/sysfs.h>
#include <linux/wait.h>

#include "lmdevice.h"

#define MAX_RATE_HZ 1000
#define CONTROLS 4
#define CONTROL_SIZE 256
/* As many frames as one read can return; the three records of a frame are shorter than RECORDS_SIZE. */
#define MAX_PENDING 32
#define RECORDS_SIZE 120

/* A timer that calls tick() at a rate. */
struct ticker {
	struct hrtimer timer;
	unsigned int rate_hz;
	void (*tick)(void);
};

static struct kobject *device;
static struct kernfs_node *vsync_node;
static DEFINE_MUTEX(settings_lock); /* the tickers' rates and the control texts */
static char controls[CONTROLS][CONTROL_SIZE];
static atomic_t vsyncs, frames, frames_lost, writes;
static atomic64_t vsync_ns;

/* The starts of the frames that no read has returned yet, the oldest first. */
static DEFINE_SPINLOCK(pending_lock);
static u64 pending_us[MAX_PENDING];
static unsigned int pending_count;
static DECLARE_WAIT_QUEUE_HEAD(frames_made);
static bool removing;

static enum hrtimer_restart on_timer(struct hrtimer *timer)
{
	struct ticker *ticker = container_of(timer, struct ticker, timer);

	ticker->tick();
	hrtimer_forward_now(timer, ns_to_ktime(NSEC_PER_SEC / ticker->rate_hz));
	return HRTIMER_RESTART;
}

static void set_rate(struct ticker *ticker, unsigned int rate_hz)
{
	hrtimer_cancel(&ticker->timer);
	ticker->rate_hz = rate_hz;
	if (rate_hz > 0)
		hrtimer_start(&ticker->timer, ns_to_ktime(NSEC_PER_SEC / rate_hz),
			      HRTIMER_MODE_REL);
}

static void tick_vsync(void)
{
	atomic64_set(&vsync_ns, ktime_get_ns());
	atomic_inc(&vsyncs);
	sysfs_notify_dirent(vsync_node);
}

static void tick_frame(void)
{
	unsigned long flags;

	spin_lock_irqsave(&pending_lock, flags);
	if (pending_count == MAX_PENDING) {
		memmove(pending_us, pending_us + 1, sizeof(pending_us) - sizeof(pending_us[0]));
		pending_count--;
		atomic_inc(&frames_lost);
	}
	pending_us[pending_count++] = ktime_get_ns() / NSEC_PER_USEC;
	atomic_inc(&frames);
	spin_unlock_irqrestore(&pending_lock, flags);
	wake_up_interruptible(&frames_made);
}

static struct ticker vsync_ticker = { .tick = tick_vsync };
static struct ticker frame_ticker = { .tick = tick_frame };

static ssize_t vsync_show(struct kobject *kobj, struct kobj_attribute *attr, char *buf)
{
	return sysfs_emit(buf, "%lld\n", (long long)atomic64_read(&vsync_ns));
}

static ssize_t vsync_rate_show(struct kobject *kobj, struct kobj_attribute *attr, char *buf)
{
	return sysfs_emit(buf, "%u\n", READ_ONCE(vsync_ticker.rate_hz));
}

static ssize_t vsync_rate_store(struct kobject *kobj, struct kobj_attribute *attr,
				const char *buf, size_t count)
{
	unsigned int rate_hz;

	if (kstrtouint(buf, 10, &rate_hz) || rate_hz > MAX_RATE_HZ)
		return -EINVAL;
	mutex_lock(&settings_lock);
	set_rate(&vsync_ticker, rate_hz);
	mutex_unlock(&settings_lock);
	return count;
}

/*
 * A frame's key consists of its number and the constant 1. Its second stage comes 4 ms and its third 10 ms after the
 * start; all three are reported together.
 */
static ssize_t frame_data_show(struct kobject *kobj, struct kobj_attribute *attr, char *buf)
{
	u64 starts_us[MAX_PENDING];
	unsigned int i, count, first;
	unsigned long flags;
	int length = 0;

	do {
		if (wait_event_interruptible(frames_made,
					     READ_ONCE(pending_count) || READ_ONCE(removing)))
			return -ERESTARTSYS;
		if (READ_ONCE(removing))
			return -ENODEV;
		spin_lock_irqsave(&pending_lock, flags);
		count = pending_count;
		memcpy(starts_us, pending_us, count * sizeof(starts_us[0]));
		pending_count = 0;
		first = atomic_read(&frames) - count;
		spin_unlock_irqrestore(&pending_lock, flags);
	} while (count == 0);

	for (i = 0; i < count; i++) {
		unsigned int frame = first + i;
		u64 start = starts_us[i];

		length += sysfs_emit_at(buf, length,
					"0 %u 1 1 %llu 0:0 %u 1 2 %llu 0:0 %u 1 3 %llu 0:",
					frame, start, frame, start + 4000, frame, start + 10000);
	}
	return length;
}

static ssize_t frame_ctrl_show(struct kobject *kobj, struct kobj_attribute *attr, char *buf)
{
	return sysfs_emit(buf, "%u\n", READ_ONCE(frame_ticker.rate_hz));
}

static ssize_t frame_ctrl_store(struct kobject *kobj, struct kobj_attribute *attr,
				const char *buf, size_t count)
{
	int value;

	if (kstrtoint(buf, 10, &value) || value == 0 || value < -1 || value > MAX_RATE_HZ)
		return -EINVAL;
	mutex_lock(&settings_lock);
	set_rate(&frame_ticker, value > 0 ? value : 0);
	mutex_unlock(&settings_lock);
	atomic_inc(&writes);
	return count;
}

static unsigned int control_number(const struct kobj_attribute *attr)
{
	return attr->attr.name[strlen("control")] - '0';
}

static ssize_t control_show(struct kobject *kobj, struct kobj_attribute *attr, char *buf)
{
	ssize_t length;

	mutex_lock(&settings_lock);
	length = sysfs_emit(buf, "%s", controls[control_number(attr)]);
	mutex_unlock(&settings_lock);
	return length;
}

static ssize_t control_store(struct kobject *kobj, struct kobj_attribute *attr,
			     const char *buf, size_t count)
{
	if (count >= CONTROL_SIZE)
		return -EINVAL;
	mutex_lock(&settings_lock);
	strscpy(controls[control_number(attr)], buf, CONTROL_SIZE);
	mutex_unlock(&settings_lock);
	atomic_inc(&writes);
	return count;
}

#define COUNTER(name) \
	static ssize_t name##_show(struct kobject *kobj, struct kobj_attribute *attr, char *buf) \
	{ \
		return sysfs_emit(buf, "%d\n", atomic_read(&name)); \
	} \
	static struct kobj_attribute name##_attr = __ATTR_RO(name)

COUNTER(vsyncs);
COUNTER(frames);
COUNTER(frames_lost);
COUNTER(writes);

static struct kobj_attribute vsync_attr = __ATTR_RO(vsync);
static struct kobj_attribute vsync_rate_attr = __ATTR_RW(vsync_rate);
static struct kobj_attribute frame_data_attr = __ATTR_RO(frame_data);
static struct kobj_attribute frame_ctrl_attr = __ATTR_RW(frame_ctrl);
static struct kobj_attribute control_attrs[CONTROLS] = {
	__ATTR(control0, 0644, control_show, control_store),
	__ATTR(control1, 0644, control_show, control_store),
	__ATTR(control2, 0644, control_show, control_store),
	__ATTR(control3, 0644, control_show, control_store),
};

static const struct attribute *attributes[] = {
	&vsync_attr.attr,	&vsync_rate_attr.attr,	 &frame_data_attr.attr,
	&frame_ctrl_attr.attr,	&control_attrs[0].attr,	 &control_attrs[1].attr,
	&control_attrs[2].attr, &control_attrs[3].attr,	 &vsyncs_attr.attr,
	&frames_attr.attr,	&frames_lost_attr.attr, &writes_attr.attr,
	NULL,
};

static void init_ticker(struct ticker *ticker)
{
	hrtimer_init(&ticker->timer, CLOCK_MONOTONIC, HRTIMER_MODE_REL);
	ticker->timer.function = on_timer;
}

static int __init add_nodes(void)
{
	int error;

	BUILD_BUG_ON(MAX_PENDING * RECORDS_SIZE > PAGE_SIZE - 2);
	init_ticker(&vsync_ticker);
	init_ticker(&frame_ticker);
	device = kobject_create_and_add("lmdevice", kernel_kobj);
	if (!device)
		return -ENOMEM;
	error = sysfs_create_files(device, attributes);
	if (error) {
		kobject_put(device);
		return error;
	}
	vsync_node = sysfs_get_dirent(device->sd, "vsync");
	return 0;
}

static int __init lmdevice_init(void)
{
	int error = sysstats_init();

	if (error)
		return error;
	error = add_nodes();
	if (error)
		sysstats_exit();
	return error;
}

static void __exit lmdevice_exit(void)
{
	sysstats_exit();
	/* sysfs_remove_files() waits for reads that sleep, so they are woken first. */
	WRITE_ONCE(removing, true);
	wake_up_all(&frames_made);
	sysfs_remove_files(device, attributes);
	set_rate(&vsync_ticker, 0);
	set_rate(&frame_ticker, 0);
	sysfs_put(vsync_node);
	kobject_put(device);
}

module_init(lmdevice_init);
module_exit(lmdevice_exit);
MODULE_DESCRIPTION("Simulated device: vsync, frame and control nodes, and SYSSTATS");
MODULE_LICENSE("GPL");
