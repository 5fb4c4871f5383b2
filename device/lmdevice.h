/* SPDX-License-Identifier: GPL-2.0 */
/* Declarations that the module's files share. */
#ifndef LMDEVICE_H
#define LMDEVICE_H

int sysstats_init(void);
void sysstats_exit(void);

#endif
