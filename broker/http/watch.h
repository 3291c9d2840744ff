// Ends connections whose clients have gone.
#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

namespace broker::http {

// The library sleeps through the end of a connection that arrives together with data: it reads the
// data and is not woken again. So the sockets that something is expected from are looked at twice a
// second, and one whose client can send no more, with nothing left to read, is shut down; the
// library then finds it at its end. Safe from any thread; on a thread of its own, which sleeps
// while there is no socket.
class Watch {
 public:
  Watch();
  ~Watch();
  Watch(const Watch&) = delete;

  // A socket at its end is shut down at the second look, so that whoever has just read the last of
  // it has time to say that it was all. Adding it again begins anew.
  void add(int socket);
  // Once this has returned the socket is no longer touched.
  void remove(int socket);

 private:
  void run();
  void look();

  std::mutex lock_;
  std::condition_variable changed_;
  std::map<int, bool> sockets_;  // whether it was at its end at the last look
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace broker::http
