/* How CTCPClient's threads end each other, for spin. README.md says what is
 * modelled; check.sh runs it. A statement is one step of one thread: threads
 * interleave between statements, and nothing is assumed about their speed.
 *
 * No step waits for a time-out to pass: a thread that only the 3 seconds of
 * select or the 2 seconds of send could wake is a deadlock here.
 */

#ifndef CONNECTIONS
#define CONNECTIONS 2
#endif

#ifndef SENDERS
#define SENDERS 1
#endif

#define OWNER 0 /* who waits in Terminate: the thread that owns the client */
#define OTHER 1 /* ... and one more */

/* The client's members. Connections count from 1, so do descriptors. */
bool stateMutex;
bool queueMutex;
bool running = true;
byte handle;      /* recvThread_: the connection of its thread; 0: empty */
byte mainSock;    /* 0: none */
byte uses;        /* mainSockUses_ */
bool waiting[2];  /* who sleeps in threadCv_ */
#ifdef BUFFER
bool buffer;      /* buffer_ is set */
#endif
bool sleeping;    /* whether CloseMainSock() sleeps in mainSockUses_.wait() */
#ifdef BUFFER
/* The members of the ReceiveBuffer of an exchange, which holds so many receives. */
bool bufferMutex;
bool stopped;
byte chunks;
bool awaitsRoom;  /* whether the receive thread sleeps in room_cv_ */
#endif

/* The system. An abandoned socket keeps its number for good. */
byte file[CONNECTIONS + 1];       /* the socket's connection; 0: closed */
bool readShut[CONNECTIONS + 1];
bool writeShut[CONNECTIONS + 1];
bool abandoned[CONNECTIONS + 1];

/* What only the properties read, and what the callers agree on. */
bool client_alive = true;
byte thread_inside;  /* the connection whose thread may touch the client */
byte queue_users;
bool buffer_alive;
bool otherReturned = true;
byte sendersReturned;

inline Touch() { assert(client_alive) }

inline TouchBuffer() { assert(buffer_alive) }

inline Lock(mutex) { atomic { !mutex -> Touch(); mutex = true } }

inline Unlock(mutex) { atomic { Touch(); mutex = false } }

/* A caller's reading of mainSock_. `seen` is the file that the number means
 * now: each later use of the number must still meet it. */
inline ReadMainSock() {
  atomic { Touch(); sock = mainSock; seen = file[sock] }
}

inline UseDescriptor() { assert(seen != 0 && file[sock] == seen) }

inline BeginUse() { atomic { Touch(); uses++ } }

inline EndUse() {
  atomic { Touch(); uses--; last = (uses == 0) };
  if
  :: atomic { last -> Touch(); sleeping = false; last = false }
  :: else
  fi
}

inline WaitUntilUnused() {
  do
  :: atomic { uses == 0 -> break }
  :: atomic { uses != 0 -> count = uses; Touch() };
#ifndef NO_SHUTDOWN
     atomic { UseDescriptor(); readShut[sock] = true; writeShut[sock] = true };
#endif
     do
     :: atomic { uses != count -> break }
     :: atomic { uses == count -> sleeping = true };
        !sleeping
     od
  od;
  count = 0
}

inline CloseMainSock() {
#ifdef READ_THEN_CLEAR
  ReadMainSock();
  atomic { Touch(); mainSock = 0 };
#else
  atomic { Touch(); sock = mainSock; mainSock = 0; seen = file[sock] };
#endif
  if
  :: sock == 0
  :: else ->
#ifndef NO_WAIT_FOR_USES
     WaitUntilUnused();
#endif
     atomic { UseDescriptor(); file[sock] = 0; sock = 0; seen = 0 }
  fi
}

inline WakeRecvThread() {
  BeginUse();
  ReadMainSock();
  if
  :: sock == 0
  :: else -> atomic { UseDescriptor(); readShut[sock] = true; sock = 0; seen = 0 }
  fi;
  EndUse()
}

#ifdef BUFFER
inline LockBuffer() { atomic { !bufferMutex -> TouchBuffer(); bufferMutex = true } }

inline UnlockBuffer() { atomic { TouchBuffer(); bufferMutex = false } }

inline NotifyRoomCv() { atomic { TouchBuffer(); awaitsRoom = false } }

inline Stop() {
#ifdef STOP_UNLOCKED
  atomic { TouchBuffer(); stopped = true };
  NotifyRoomCv()
#else
  LockBuffer();
  atomic { TouchBuffer(); stopped = true };
#ifndef NO_END_OF_WAIT
  NotifyRoomCv();
#endif
  UnlockBuffer()
#endif
}

/* Ends with the mutex released. */
inline AwaitRoom() {
  LockBuffer();
  do
  :: atomic { chunks < BUFFER || stopped -> TouchBuffer(); break }
  :: atomic { chunks >= BUFFER && !stopped -> TouchBuffer() };
     atomic { awaitsRoom = true; UnlockBuffer() };  /* room_cv_.wait */
     !awaitsRoom;
     LockBuffer()
  od;
  atomic { stop = stopped; UnlockBuffer() }
}

inline Add() {
  LockBuffer();
  atomic { TouchBuffer(); assert(chunks < BUFFER); chunks++ };
  UnlockBuffer();
  TouchBuffer() /* news_cv_ */
}
#endif

inline WaitForThread(me) {
  Lock(stateMutex);
  do
  :: handle == 0 -> break
  :: else ->
     atomic { waiting[me] = true; Unlock(stateMutex) };  /* threadCv_.wait */
     !waiting[me];
     Lock(stateMutex)
  od;
  Unlock(stateMutex)
}

inline Terminate(me) {
  atomic { Lock(stateMutex); running = false; Unlock(stateMutex) };
#ifdef BUFFER
  if
  :: atomic { buffer -> Touch() };
     Stop()
  :: atomic { !buffer -> Touch() }
  fi;
#endif
#ifndef NO_WAKE
  WakeRecvThread();
#endif
#ifdef CLOSE_EARLY
  CloseMainSock();
#endif
  WaitForThread(me);
  CloseMainSock();
  assert(thread_inside == 0);
  assert(mainSock == 0)
}

/* The last acts of the receive thread. */
inline NotifyThreadCv() {
  atomic { Touch(); waiting[OWNER] = false; waiting[OTHER] = false }
}

inline Detach() {
  atomic { Touch(); assert(handle == connection); handle = 0 }
}

inline Enqueue() {
#ifndef QUEUE_UNLOCKED
  Lock(queueMutex);
#endif
  atomic { Touch(); queue_users++; assert(queue_users == 1) };
  queue_users--;
#ifndef QUEUE_UNLOCKED
  Unlock(queueMutex);
#endif
  Touch() /* messageCv */
}

proctype RecvThread(byte connection) {
  byte sock, seen, count;
#ifdef BUFFER
  bool stop;
  ReadMainSock(); /* ReceiveInto() */
  do
  :: AwaitRoom();
     if
     :: stop -> break
     :: else -> UseDescriptor() /* recv begins */
     fi;
     if
     :: skip /* input, or the peer's end, or both */
     :: skip -> atomic { readShut[sock] || file[sock] != seen -> UseDescriptor() }
     :: skip -> goto next /* nothing for 3 seconds */
     fi;
     UseDescriptor();
     if
     :: Add()
     :: CloseMainSock(); break /* the peer's end, a failure, an exception */
     fi;
next:
     skip
  od;
#else
  do
  :: atomic { !running -> Touch(); break }
  :: atomic { running -> Touch() };
     ReadMainSock();
     if
     :: sock == 0 -> break
     :: else -> UseDescriptor() /* select begins */
     fi;
     if
     :: skip /* input, or the peer's end, or both */
     :: skip -> atomic { readShut[sock] || file[sock] != seen -> UseDescriptor() }
     :: Touch(); goto next /* nothing for 3 seconds: messageCv */
     /* select fails */
     :: atomic { Touch(); mainSock = 0; abandoned[sock] = true; break }
     fi;
     UseDescriptor(); /* recv */
     if
     :: Enqueue()
     :: CloseMainSock(); break /* the peer's end, a failure, an exception */
     fi;
next:
     sock = 0; seen = 0
  od;
#endif
  Touch(); /* messageCv */
#ifdef BUFFER
  atomic { LockBuffer(); UnlockBuffer() }; /* Notify() */
#endif
#ifdef NOTIFY_EARLY
  NotifyThreadCv();
#endif
#ifndef DETACH_UNLOCKED
  Lock(stateMutex);
#endif
  Detach();
#ifdef NOTIFY_LATE
  Unlock(stateMutex);
  NotifyThreadCv();
  thread_inside = 0
#else
#ifndef NOTIFY_EARLY
  NotifyThreadCv();
#endif
#ifdef DETACH_UNLOCKED
  thread_inside = 0
#else
  atomic { Unlock(stateMutex); thread_inside = 0 }
#endif
#endif
}

inline CreateMainSock() {
  atomic {
    sock = 1;
    do
    :: file[sock] == 0 -> break
    :: else -> sock++
    od;
    file[sock] = connection; readShut[sock] = false; writeShut[sock] = false
  };
  mainSock = sock;
  atomic { running = true; sock = 0 }
}

inline StartRecvThread() {
#ifndef STORE_UNLOCKED
  Lock(stateMutex);
#endif
  atomic { thread_inside = connection; run RecvThread(connection) };
  atomic { assert(handle == 0); handle = connection };
#ifndef STORE_UNLOCKED
  Unlock(stateMutex)
#endif
}

inline ConnectTo() {
  CreateMainSock();
  if
  :: skip /* no connection: the socket stays until Close() */
  ::
#ifdef BUFFER
     atomic { buffer_alive = true; chunks = 0; stopped = false; buffer = true };
#endif
     StartRecvThread()
  fi
}

inline MessagesCount() {
  Lock(queueMutex);
  atomic { Touch(); queue_users++; assert(queue_users == 1) };
  queue_users--;
  Unlock(queueMutex)
}

#ifdef BUFFER
/* The exchange drops what it has taken, any number of times. */
inline Next() {
  do
  :: break
  :: atomic { buffer -> LockBuffer() };
     atomic { chunks = 0; NotifyRoomCv() };
     UnlockBuffer()
  od
}
#endif

/* Any number of SendMsg() at any time before the destructor. */
inline SendOnSocket() {
#ifdef READ_BEFORE_COUNT
  ReadMainSock();
  BeginUse();
#else
  BeginUse();
  ReadMainSock();
#endif
  if
  :: sock == 0
  :: else ->
     UseDescriptor(); /* send begins */
     /* Room may come until the socket is being closed. Only a send on an
      * abandoned socket may need its 2 seconds then. */
     mainSock == sock || writeShut[sock] || abandoned[sock] || file[sock] != seen;
     atomic { UseDescriptor(); sock = 0; seen = 0 }
  fi;
  EndUse()
}

active [SENDERS] proctype Sender() {
  byte sock, seen;
  bool last;
  do
  :: break
#ifdef NO_EARLY_LOOK
  :: SendOnSocket()
#else
  :: atomic { mainSock == 0 -> Touch() }
  :: atomic { mainSock != 0 -> Touch() };
     SendOnSocket()
#endif
  od;
  sendersReturned++
}

/* Another thread that may end the connection too. */
proctype Other() {
  byte sock, seen, count;
  bool last;
  if
  :: skip
  :: Terminate(OTHER)
  fi;
  otherReturned = true
}

active proctype Owner() {
  byte connection, sock, seen, count;
  bool last;
  do
  :: connection == CONNECTIONS -> break
  :: else ->
     connection++;
     ConnectTo();
     atomic { otherReturned = false; run Other() };
#ifdef BUFFER
     Next();
#ifdef FREE_EARLY
     atomic { buffer_alive = false };
#endif
#else
     MessagesCount();
#endif
     if
     :: Terminate(OWNER);
        CloseMainSock(); /* Close() */
        otherReturned;
#ifdef BUFFER
        atomic { buffer = false; buffer_alive = false }
#endif
     :: connection == CONNECTIONS /* the destructor ends it */
     fi;
     otherReturned
  od;
  sendersReturned == SENDERS;
  Terminate(OWNER);
  assert(handle == 0 && uses == 0);
  sock = 1;
  do
  :: sock > CONNECTIONS -> break
  :: else -> assert(file[sock] == 0 || abandoned[sock]); sock++
  od;
  client_alive = false
}

/* Of one connection: Terminate() ends the thread and closes the socket, however
 * much the peer and the senders send. Threads are scheduled with weak fairness. */
ltl ends { [](!running -> <>(thread_inside == 0 && (file[1] == 0 || abandoned[1]))) }
