/* SPDX-License-Identifier: GPL-2.0 */
/* What the module's source files share. */
#ifndef LMDEVICE_H
#define LMDEVICE_H

int sysstats_init(void);
void sysstats_exit(void);

#endif
