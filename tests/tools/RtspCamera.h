// A network camera on loopback: speaks just enough RTSP, over TCP, to send one H.264 clip to one client.
#pragma once

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

class RtspCamera {
 public:
  using AccessUnit = std::vector<uint8_t>;  // with four-byte start codes, units below 64 KiB

  // Sends the access units 40 ms apart by their time stamps, but at once, and hangs up; one that stays waits
  // for its client to go. Without any it takes the connection and never says a word.
  explicit RtspCamera(std::vector<AccessUnit> accessUnits, bool stays = false);
  ~RtspCamera();
  RtspCamera(const RtspCamera&) = delete;
  RtspCamera& operator=(const RtspCamera&) = delete;

  std::string Address() const;

 private:
  void Serve();
  void Answer(int client);
  bool SendClip(int client);
  bool SendUnit(int client, const uint8_t* unit, size_t size, size_t frame, bool last);

  const std::vector<AccessUnit> m_AccessUnits;
  const bool m_bStays;
  int m_nListener = -1;
  uint16_t m_nPort = 0;
  uint16_t m_nSequence = 0;  // of the next packet; the thread's
  std::thread m_Thread;
};
