#include "tests/tools/RtspCamera.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace {

constexpr char kDescription[] =
    "v=0\r\no=- 0 0 IN IP4 127.0.0.1\r\ns=camera\r\nt=0 0\r\n"
    "m=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\na=fmtp:96 packetization-mode=1\r\na=control:track\r\n";

bool SendAll(int client, const void* bytes, size_t size) {
  const auto* next = static_cast<const uint8_t*>(bytes);
  while (size > 0) {
    const ssize_t sent = send(client, next, size, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    next += sent;
    size -= static_cast<size_t>(sent);
  }
  return true;
}

// The rest of the line after a header's name; empty when the request has none.
std::string HeaderOf(const std::string& request, const std::string& name) {
  const size_t begin = request.find("\r\n" + name + ": ");
  if (begin == std::string::npos) return "";
  const size_t value = begin + name.size() + 4;
  return request.substr(value, request.find("\r\n", value) - value);
}

}  // namespace

RtspCamera::RtspCamera(std::vector<AccessUnit> accessUnits, bool stays)
    : m_AccessUnits(std::move(accessUnits)), m_bStays(stays) {
  m_nListener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  auto* any = reinterpret_cast<sockaddr*>(&address);
  if (bind(m_nListener, any, size) != 0 || listen(m_nListener, 4) != 0) return;
  if (getsockname(m_nListener, any, &size) == 0) m_nPort = ntohs(address.sin_port);
  if (!m_AccessUnits.empty()) m_Thread = std::thread([this] { Serve(); });
}

RtspCamera::~RtspCamera() {
  shutdown(m_nListener, SHUT_RDWR);  // ends a wait for a client
  if (m_Thread.joinable()) m_Thread.join();
  close(m_nListener);
}

std::string RtspCamera::Address() const {
  return "rtsp://127.0.0.1:" + std::to_string(m_nPort) + "/stream";
}

void RtspCamera::Serve() {
  const int client = accept(m_nListener, nullptr, nullptr);
  if (client < 0) return;
  Answer(client);
  if (!m_bStays) shutdown(client, SHUT_WR);
  char rest[512];
  while (recv(client, rest, sizeof(rest), 0) > 0) {
  }
  close(client);
}

// Requests until the client wants to play; then the clip.
void RtspCamera::Answer(int client) {
  std::string received;
  char bytes[2048];
  while (true) {
    size_t end;
    while ((end = received.find("\r\n\r\n")) == std::string::npos) {
      const ssize_t count = recv(client, bytes, sizeof(bytes), 0);
      if (count <= 0) return;
      received.append(bytes, static_cast<size_t>(count));
    }
    const std::string request = received.substr(0, end + 2);
    received.erase(0, end + 4);
    std::string answer = "RTSP/1.0 200 OK\r\nCSeq: " + HeaderOf(request, "CSeq") + "\r\nSession: 1\r\n";
    if (request.starts_with("SETUP")) answer += "Transport: RTP/AVP/TCP;unicast;interleaved=0-1\r\n";
    if (request.starts_with("DESCRIBE")) {
      answer +=
          "Content-Type: application/sdp\r\nContent-Length: " + std::to_string(sizeof(kDescription) - 1) +
          "\r\n\r\n" + kDescription;
    } else {
      answer += "\r\n";
    }
    if (!SendAll(client, answer.data(), answer.size())) return;
    if (request.starts_with("PLAY")) {
      SendClip(client);
      return;
    }
  }
}

bool RtspCamera::SendClip(int client) {
  constexpr uint8_t kStartCode[] = {0, 0, 0, 1};
  for (size_t frame = 0; frame < m_AccessUnits.size(); ++frame) {
    const AccessUnit& whole = m_AccessUnits[frame];
    auto unit = whole.begin();
    while (unit != whole.end()) {
      unit += sizeof(kStartCode);
      const auto end = std::search(unit, whole.end(), std::begin(kStartCode), std::end(kStartCode));
      const bool last = end == whole.end();
      if (!SendUnit(client, &*unit, static_cast<size_t>(end - unit), frame, last)) return false;
      unit = end;
    }
  }
  return true;
}

// One RTP packet (RFC 3550, RFC 6184), interleaved (RFC 2326, 10.12).
bool RtspCamera::SendUnit(int client, const uint8_t* unit, size_t size, size_t frame, bool last) {
  const auto length = static_cast<uint16_t>(size + 12);
  const auto time = static_cast<uint32_t>(frame * 90000 / 25);
  const uint8_t head[] = {'$',
                          0,
                          static_cast<uint8_t>(length >> 8),
                          static_cast<uint8_t>(length),
                          0x80,
                          static_cast<uint8_t>(last ? 0x80 | 96 : 96),
                          static_cast<uint8_t>(m_nSequence >> 8),
                          static_cast<uint8_t>(m_nSequence),
                          static_cast<uint8_t>(time >> 24),
                          static_cast<uint8_t>(time >> 16),
                          static_cast<uint8_t>(time >> 8),
                          static_cast<uint8_t>(time),
                          0,
                          0,
                          0,
                          1};
  ++m_nSequence;
  return SendAll(client, head, sizeof(head)) && SendAll(client, unit, size);
}
