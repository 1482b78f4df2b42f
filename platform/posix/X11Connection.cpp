// Connecting to the X server, and the requests that every screen needs.
#include "platform/posix/X11Connection.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <xcb/shm.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>

#include "platform/posix/SigpipeBlock.h"
#include "platform/posix/X11Reply.h"
#include "platform/posix/X11SharedMemory.h"

namespace platform {
namespace {

constexpr size_t kMaxPutBytes = 256 * 1024;
constexpr char kMessageType[] = "QXSDKP_MESSAGE";

xcb_screen_t* ScreenAt(const xcb_setup_t* setup, int index) {
  xcb_screen_iterator_t screen = xcb_setup_roots_iterator(setup);
  while (screen.rem > 1 && index-- > 0)
    xcb_screen_next(&screen);
  return screen.rem > 0 ? screen.data : nullptr;
}

bool IsLocalSocket(int socket) {
  sockaddr_un address{};
  socklen_t length = sizeof(address);
  return getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
         address.sun_family == AF_UNIX;
}

bool HasOurMasks(const xcb_visualtype_t& visual) {
  const bool isColour =
      visual._class == XCB_VISUAL_CLASS_TRUE_COLOR || visual._class == XCB_VISUAL_CLASS_DIRECT_COLOR;
  return isColour && visual.red_mask == 0xFF0000 && visual.green_mask == 0x00FF00 &&
         visual.blue_mask == 0x0000FF;
}

size_t SlotOf(xcb_window_t id, size_t slots) {
  // Identifiers count up from each client's base, so the low bits differ most; the high ones tell clients
  // apart.
  return (id ^ id >> 21) % slots;
}

}  // namespace

Owned<X11Connection> X11Connection::Open(const char*& reason, bool& reached) {
  const SigpipeBlock noSignal;
  reached = false;
  int preferred = 0;
  xcb_connection_t* const xcb = xcb_connect(nullptr, &preferred);
  xcb_screen_t* const screen =
      xcb_connection_has_error(xcb) == 0 ? ScreenAt(xcb_get_setup(xcb), preferred) : nullptr;
  auto* const connection = screen != nullptr ? new (std::nothrow) X11Connection(xcb, screen) : nullptr;
  if (connection == nullptr) {
    reason = "the X server cannot be reached";
    xcb_disconnect(xcb);
    return {};
  }
  Owned<X11Connection> opened(connection);
  reached = true;
  if (!connection->Prepare(reason)) opened.Reset();
  return opened;
}

X11Connection::~X11Connection() {
  const SigpipeBlock noSignal;
  xcb_disconnect(m_pXcb);
}

bool X11Connection::Prepare(const char*& reason) {
  CreateContext(24, m_Context24);
  CreateContext(32, m_Context32);
  if (m_Context24 == XCB_NONE && m_Context32 == XCB_NONE) {
    reason = "the X server takes no 32-bit pixels in the order blue, green, red";
    return false;
  }
  const size_t requestBytes = size_t{xcb_get_maximum_request_length(m_pXcb)} * 4;
  constexpr size_t kRequestHeader = 64;
  m_nMaxPutBytes = std::min(kMaxPutBytes, requestBytes - kRequestHeader);

  const auto atomCookie = xcb_intern_atom(m_pXcb, 0, sizeof(kMessageType) - 1, kMessageType);
  m_bSharesMemory = CanShareMemory();
  const auto atom = OwnReply(xcb_intern_atom_reply(m_pXcb, atomCookie, nullptr));
  if (atom == nullptr) {
    reason = "the X server went away";
    return false;
  }
  m_MessageType = atom->atom;
  return true;
}

bool X11Connection::TakesOurPixels(uint8_t depth) const {
  const xcb_setup_t* const setup = xcb_get_setup(m_pXcb);
  if (setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST) return false;
  const xcb_format_t* const formats = xcb_setup_pixmap_formats(setup);
  const auto matches = [&](const xcb_format_t& format) {
    return format.depth == depth && format.bits_per_pixel == 32;
  };
  if (std::none_of(formats, formats + xcb_setup_pixmap_formats_length(setup), matches)) return false;

  for (auto depths = xcb_screen_allowed_depths_iterator(m_pScreen); depths.rem > 0; xcb_depth_next(&depths)) {
    const xcb_visualtype_t* const visuals = xcb_depth_visuals(depths.data);
    if (depths.data->depth == depth &&
        std::any_of(visuals, visuals + xcb_depth_visuals_length(depths.data), HasOurMasks)) {
      return true;
    }
  }
  return false;
}

// A context serves all drawables of the depth of the one it is made for.
void X11Connection::CreateContext(uint8_t depth, xcb_gcontext_t& context) {
  if (!TakesOurPixels(depth)) return;
  const xcb_pixmap_t sample = xcb_generate_id(m_pXcb);
  const xcb_gcontext_t id = xcb_generate_id(m_pXcb);
  xcb_create_pixmap(m_pXcb, depth, sample, m_pScreen->root, 1, 1);
  const uint32_t noExposureEvents = 0;
  const auto created =
      xcb_create_gc_checked(m_pXcb, id, sample, XCB_GC_GRAPHICS_EXPOSURES, &noExposureEvents);
  xcb_free_pixmap(m_pXcb, sample);
  if (OwnReply(xcb_request_check(m_pXcb, created)) == nullptr) context = id;
}

// The memory's file descriptor goes to the server with the request, which needs a local socket; anything else
// would break the connection.
bool X11Connection::CanShareMemory() {
  const xcb_query_extension_reply_t* const extension = xcb_get_extension_data(m_pXcb, &xcb_shm_id);
  if (extension == nullptr || !extension->present || !IsLocalSocket(xcb_get_file_descriptor(m_pXcb)))
    return false;
  const auto version = OwnReply(xcb_shm_query_version_reply(m_pXcb, xcb_shm_query_version(m_pXcb), nullptr));
  return version != nullptr && (version->major_version > 1 || version->minor_version >= 2);
}

std::unique_ptr<SurfaceMemory> X11Connection::AllocatePicture(size_t byteCount) {
  if (m_bSharesMemory) {
    if (auto shared = X11SharedMemory::Create(*this, byteCount)) return shared;
  }
  return AllocateHeapMemory(byteCount);
}

bool X11Connection::SendClientMessage(xcb_window_t window, uint32_t message, uint32_t wParam,
                                      uint32_t lParam) {
  const SigpipeBlock noSignal;
  if (!IsAlive()) return false;
  xcb_client_message_event_t event{};
  event.response_type = XCB_CLIENT_MESSAGE;
  event.format = 32;
  event.window = window;
  event.type = m_MessageType;
  event.data.data32[0] = message;
  event.data.data32[1] = wParam;
  event.data.data32[2] = lParam;
  const auto sent = xcb_send_event_checked(m_pXcb, 0, window, XCB_EVENT_MASK_NO_EVENT,
                                           reinterpret_cast<const char*>(&event));
  const bool refused = OwnReply(xcb_request_check(m_pXcb, sent)) != nullptr;
  DrainEvents();
  return !refused && IsAlive();
}

uint8_t X11Connection::DepthOfVisual(xcb_visualid_t visual) const {
  for (auto depths = xcb_screen_allowed_depths_iterator(m_pScreen); depths.rem > 0; xcb_depth_next(&depths)) {
    const xcb_visualtype_t* const visuals = xcb_depth_visuals(depths.data);
    const auto isIt = [&](const xcb_visualtype_t& candidate) {
      return candidate.visual_id == visual && HasOurMasks(candidate);
    };
    if (std::any_of(visuals, visuals + xcb_depth_visuals_length(depths.data), isIt))
      return depths.data->depth;
  }
  return 0;
}

bool X11Connection::LookAtWindow(xcb_window_t id, X11Window& window) {
  const auto attributesCookie = xcb_get_window_attributes(m_pXcb, id);
  const auto attributes = OwnReply(xcb_get_window_attributes_reply(m_pXcb, attributesCookie, nullptr));
  if (attributes == nullptr) return false;

  window = {id, DepthOfVisual(attributes->visual)};
  Remember(window);
  return true;
}

bool X11Connection::RememberedWindow(xcb_window_t id, X11Window& window) {
  MutexLock lock(m_WindowsLock);
  window = m_Windows[SlotOf(id, m_Windows.size())];
  return window.nId == id;
}

void X11Connection::Remember(const X11Window& window) {
  MutexLock lock(m_WindowsLock);
  m_Windows[SlotOf(window.nId, m_Windows.size())] = window;
}

void X11Connection::Forget(xcb_window_t id) {
  MutexLock lock(m_WindowsLock);
  X11Window& slot = m_Windows[SlotOf(id, m_Windows.size())];
  if (slot.nId == id) slot = {};
}

xcb_gcontext_t X11Connection::ContextForDepth(uint8_t depth) const {
  if (depth == 24) return m_Context24;
  return depth == 32 ? m_Context32 : xcb_gcontext_t{XCB_NONE};
}

void X11Connection::DrainEvents() {
  while (OwnReply(xcb_poll_for_queued_event(m_pXcb)) != nullptr) {
  }
}

}  // namespace platform
