#pragma once

#include <qk/mutex.h>

#include "streams/output_queue.h"
#include "tovik/descriptor.h"
#include "tovik/result.h"
#include "tovik/socket.h"

namespace tovik {

class Connection;
class ConnectionCounters;
class WorkerThread;

/// A connection's socket and the output that is waiting to be sent on it. Shared by the connection's channel, which any
/// thread may call, and its conduit.
///
/// Threads:   send, sendFile, endWhenSent and requestEnd by any thread; the rest on the worker.
/// Ownership: owns the socket; borrows the connection, the worker and the counters until close.
class SendSide {
 public:
  /// isConnected: whether the socket is connected already.
  SendSide(Connection& connection, WorkerThread& worker, ConnectionCounters& counters, Socket socket, bool isConnected);

  /// Sends at once as much as the kernel takes, and copies the rest. Has no effect after endWhenSent and close.
  void send(const char* data, unsigned long size);
  /// Queues size bytes of the file from offset on.
  void sendFile(Descriptor file, long offset, unsigned long size);
  /// Ends the connection once everything that was sent has been handed to the kernel.
  void endWhenSent();
  /// Ends the connection in a separate turn, unless it has ended. direction: a SocketDir.
  void requestEnd(int direction);

  /// Makes the worker call the connection when the socket's readiness changes.
  Result watch();
  /// As Socket::recv. Everything that a thread did before a send happens-before the handling of data that is received
  /// after that send.
  long receive(char* data, unsigned long size);
  /// Hands the kernel as much of the queue as it accepts.
  void writeMore();
  /// Hands the kernel as much of the queue as it accepts, and closes the socket.
  void close();

  /// For the operations on the socket that only the worker performs.
  Socket& socket() { return socket_; }
  const Socket& socket() const { return socket_; }

 private:
  OutputQueue::Outcome write() QK_REQUIRES(mutex_);
  void watchOutput() QK_REQUIRES(mutex_);
  void requestTurn() QK_REQUIRES(mutex_);
  void countSent(unsigned long bytes);

  WorkerThread& worker_;
  ConnectionCounters& counters_;

  qk::Mutex mutex_;
  Socket socket_;  // used with the mutex held, except by the worker; only the worker closes it
  Connection* connection_ QK_GUARDED_BY(mutex_);  // null once closed
  OutputQueue output_ QK_GUARDED_BY(mutex_);
  bool endsWhenSent_ QK_GUARDED_BY(mutex_) = false;
  bool outputWatched_ QK_GUARDED_BY(mutex_);
};

}  // namespace tovik
