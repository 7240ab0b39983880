/* libbase.h - every public header of the library in one include. */
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
