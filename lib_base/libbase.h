/* libbase.h - every public header of the library in one include.
 *
 * What holds across the modules:
 *
 * Ownership. Every container is made by its module's _Allocate, _Make or
 * Init call and handed out as an opaque handle; the caller destroys it with
 * the module's _Free call. A container owns its cells; whether it owns the
 * payloads is said per function (Fifo_Free frees them, Fifo_FreeEx does
 * not). Blocks handed over for the caller to release come from malloc:
 * release them with Mem_Free or free.
 *
 * Results. -1 for a bad argument (NULL handle or pointer, index or length
 * out of range); success is 0 or 1, as each function says; -2 for no memory
 * or not found and -100 for a buffer too small, where a module needs them.
 * Pointer results are NULL on failure. A few results are unusual and kept
 * on purpose (Message_Post gives -5 on success, GetValueByKey 1 whether or
 * not the key was found); their headers say so.
 *
 * Messages. Complaints are printed with printf on standard output, never on
 * standard error, and none ends the process. Some are Chinese, in GBK bytes.
 * The texts are fixed, slips included: programs and log readers match them.
 *
 * Threads. Nothing runs on its own: every call completes on the caller's
 * thread, and timer callbacks run on the thread that calls the timer's
 * process or run function. Only the mailboxes (message.h) and the memory
 * debugger (memwatch.h) may be used from several threads at once; every
 * other module, the logging state included, one thread at a time.
 *
 * Exported variables. glibPrintFlag, glibLogSize, net_sockaddr, netaddrlen
 * (log.h); logfile, realtime_printf, log_level, gt_log_max, file (tlog.h);
 * error, the cause table (errorno.h).
 *
 * Names that can collide. The library exports plain global names, and a
 * program (or another library) that defines one of them takes it over for
 * libbase as well, at run time: a global of its own named file, log_level,
 * logfile, error or atoh is the one libbase then reads and writes. error
 * also shadows the C library's error(3): a program that calls error() and
 * links libbase jumps into the cause table and crashes. The headers declare
 * short type and constant names (U8, U32, uchar, unshort, CONNECTED,
 * CONNECTING, E_NOUSE, ...) that may clash with an application's own;
 * include only the headers a source file needs. */
#ifndef LIBBASE_H
#define LIBBASE_H

#include "mem.h"
#include "fifo.h"
#include "str.h"
#include "strlist.h"
#include "objlist.h"
#include "Ini.h"
#include "xml.h"
#include "element.h"
#include "d_element.h"
#include "inet.h"
#include "tcp.h"
#include "udp.h"
#include "tcp_fc_cut.h"
#include "mac_send.h"
#include "timer.h"
#include "zor_timer.h"
#include "binary_tree.h"
#include "hash.h"
#include "lhash.h"
#include "log.h"
#include "tlog.h"
#include "errorno.h"
#include "message.h"
#include "memwatch.h"

#endif /* LIBBASE_H */
