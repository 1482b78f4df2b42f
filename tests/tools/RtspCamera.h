// A network camera on loopback: speaks just enough RTSP, over TCP, to send one H.264 clip to one client.
#pragma once

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

class RtspCamera {
 public:
  // Sends the elementary stream, whose pictures have one slice each and units below 64 KiB, so many times,
  // the pictures 40 ms apart by their time stamps, but at once, and hangs up; one that stays waits for its
  // client to go. Without a stream it takes the connection and never says a word.
  explicit RtspCamera(const std::string& stream, int times = 1, bool stays = false);
  ~RtspCamera();
  RtspCamera(const RtspCamera&) = delete;
  RtspCamera& operator=(const RtspCamera&) = delete;

  std::string Address() const { return "rtsp://127.0.0.1:" + std::to_string(m_nPort) + "/stream"; }

 private:
  void Serve();
  bool Answer(int client);
  void SendClip(int client);

  std::vector<std::vector<uint8_t>> m_Units;
  const int m_nTimes;
  const bool m_bStays;
  int m_nListener = -1;
  uint16_t m_nPort = 0;
  std::thread m_Thread;
};
