// Stand-in for <sys/event.h>, declared from kqueue(2): what Platform/macOS uses, and what it may
// receive.
#pragma once
#include <stdint.h>
#include <sys/cdefs.h>
#include <time.h>

#define EVFILT_READ (-1)
#define EVFILT_WRITE (-2)
#define EVFILT_VNODE (-4)
#define EVFILT_USER (-10)

#define EV_ADD 0x0001
#define EV_DELETE 0x0002
#define EV_CLEAR 0x0020
#define EV_EOF 0x8000

#define NOTE_TRIGGER 0x01000000
#define NOTE_DELETE 0x00000001
#define NOTE_WRITE 0x00000002
#define NOTE_REVOKE 0x00000040

struct kevent {
  uintptr_t ident;
  int16_t filter;
  uint16_t flags;
  uint32_t fflags;
  intptr_t data;
  void* udata;
};

#define EV_SET(event, a, b, c, d, e, f)           \
  do {                                            \
    struct kevent* const event_to_set_ = (event); \
    event_to_set_->ident = (a);                   \
    event_to_set_->filter = (b);                  \
    event_to_set_->flags = (c);                   \
    event_to_set_->fflags = (d);                  \
    event_to_set_->data = (e);                    \
    event_to_set_->udata = (f);                   \
  } while (0)

__BEGIN_DECLS
int kqueue(void);
int kevent(int kq, const struct kevent* changelist, int nchanges, struct kevent* eventlist,
           int nevents, const struct timespec* timeout);
__END_DECLS
