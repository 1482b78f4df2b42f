#include "tests/tools/RtspCamera.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

#include "tests/support/NalUnits.h"

namespace {

constexpr char kDescription[] =
    "v=0\r\no=- 0 0 IN IP4 127.0.0.1\r\ns=camera\r\nt=0 0\r\n"
    "m=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\na=fmtp:96 packetization-mode=1\r\na=control:track\r\n";

bool SendAll(int client, const std::string& bytes) {
  for (size_t at = 0; at < bytes.size();) {
    const ssize_t sent = send(client, &bytes[at], bytes.size() - at, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    at += static_cast<size_t>(sent);
  }
  return true;
}

std::string BigEndian(size_t value, int bytes) {
  std::string text;
  while (bytes-- > 0)
    text += static_cast<char>(value >> 8 * bytes);
  return text;
}

}  // namespace

RtspCamera::RtspCamera(const std::string& stream, int times, bool stays) : m_nTimes(times), m_bStays(stays) {
  std::ifstream file(stream, std::ios::binary);
  m_Units = NalUnits(std::vector<uint8_t>(std::istreambuf_iterator<char>(file), {}));
  m_nListener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  auto* any = reinterpret_cast<sockaddr*>(&address);
  if (bind(m_nListener, any, size) != 0 || listen(m_nListener, 4) != 0) return;
  if (getsockname(m_nListener, any, &size) == 0) m_nPort = ntohs(address.sin_port);
  if (!m_Units.empty()) m_Thread = std::thread([this] { Serve(); });
}

RtspCamera::~RtspCamera() {
  shutdown(m_nListener, SHUT_RDWR);  // ends a wait for a client
  if (m_Thread.joinable()) m_Thread.join();
  close(m_nListener);
}

void RtspCamera::Serve() {
  const int client = accept(m_nListener, nullptr, nullptr);
  if (client < 0) return;
  if (Answer(client)) SendClip(client);
  if (!m_bStays) shutdown(client, SHUT_WR);
  char rest[512];
  while (recv(client, rest, sizeof(rest), 0) > 0) {
  }
  close(client);
}

// Requests until the client wants to play.
bool RtspCamera::Answer(int client) {
  std::string request;
  char byte;
  while (!request.starts_with("PLAY")) {
    for (request.clear(); !request.ends_with("\r\n\r\n"); request += byte)
      if (recv(client, &byte, 1, 0) <= 0) return false;
    const size_t number = request.find("CSeq: ");
    std::string answer = "RTSP/1.0 200 OK\r\nSession: 1\r\n" +
                         request.substr(number, request.find("\r\n", number) + 2 - number);
    if (request.starts_with("SETUP")) answer += "Transport: RTP/AVP/TCP;unicast;interleaved=0-1\r\n";
    std::string body;
    if (request.starts_with("DESCRIBE")) body = kDescription;
    if (!body.empty()) answer += "Content-Type: application/sdp\r\n";
    answer += "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    if (!SendAll(client, answer)) return false;
  }
  return true;
}

// An RTP packet a unit (RFC 3550, RFC 6184), interleaved (RFC 2326, 10.12).
void RtspCamera::SendClip(int client) {
  constexpr size_t kRtpHead = 12;
  size_t sequence = 0, frame = 0;
  for (int time = 0; time < m_nTimes; ++time) {
    for (const std::vector<uint8_t>& unit : m_Units) {
      const int type = unit[0] & 31;
      const bool isSlice = type == 1 || type == 5;
      const std::string head = std::string("$") + '\0' + BigEndian(unit.size() + kRtpHead, 2) + '\x80' +
                               static_cast<char>(isSlice ? 0x80 | 96 : 96) + BigEndian(sequence++, 2) +
                               BigEndian(frame * 90000 / 25, 4) + BigEndian(1, 4);
      if (!SendAll(client, head + std::string(unit.begin(), unit.end()))) return;
      if (isSlice) ++frame;
    }
  }
}
