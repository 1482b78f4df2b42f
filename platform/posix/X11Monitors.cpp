// Which monitors an X server has, by RandR.
#include <xcb/randr.h>

#include "platform/posix/SigpipeBlock.h"
#include "platform/posix/X11Connection.h"
#include "platform/posix/X11Reply.h"

namespace platform {
namespace {

constexpr char kWholeScreen[] = "screen";

// RandR 1.5 knows monitors; older ones only what they are made of.
bool KnowsMonitors(xcb_connection_t* xcb) {
  const xcb_query_extension_reply_t* const extension = xcb_get_extension_data(xcb, &xcb_randr_id);
  if (extension == nullptr || !extension->present) return false;
  const auto version =
      OwnReply(xcb_randr_query_version_reply(xcb, xcb_randr_query_version(xcb, 1, 5), nullptr));
  return version != nullptr && (version->major_version > 1 || version->minor_version >= 5);
}

void AddMonitor(xcb_connection_t* xcb, const xcb_randr_monitor_info_t& info, MonitorTable& monitors) {
  if (info.width == 0 || info.height == 0) return;
  const RECT desktop = {info.x, info.y, info.x + info.width, info.y + info.height};
  const auto name = OwnReply(xcb_get_atom_name_reply(xcb, xcb_get_atom_name(xcb, info.name), nullptr));
  const bool named = name != nullptr;
  monitors.Add(desktop, named ? xcb_get_atom_name_name(name.get()) : "",
               named ? static_cast<size_t>(xcb_get_atom_name_name_length(name.get())) : 0, info.primary != 0);
}

}  // namespace

void X11Connection::ReadMonitors(MonitorTable& monitors) {
  const SigpipeBlock noSignal;
  if (KnowsMonitors(m_pXcb)) {
    const auto active = xcb_randr_get_monitors(m_pXcb, m_pScreen->root, 1);
    const auto list = OwnReply(xcb_randr_get_monitors_reply(m_pXcb, active, nullptr));
    if (list != nullptr) {
      for (auto it = xcb_randr_get_monitors_monitors_iterator(list.get()); it.rem > 0;
           xcb_randr_monitor_info_next(&it))
        AddMonitor(m_pXcb, *it.data, monitors);
    }
  }
  if (monitors.Count() == 0) {
    const RECT root = {0, 0, m_pScreen->width_in_pixels, m_pScreen->height_in_pixels};
    monitors.Add(root, kWholeScreen, sizeof(kWholeScreen) - 1);
  }
}

}  // namespace platform
