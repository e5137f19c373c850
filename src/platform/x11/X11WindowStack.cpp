// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/x11/X11WindowStack.h"

#include "platform/x11/X11Connection.h"

#include <xcb/damage.h>
#include <xcb/shape.h>

#include <algorithm>
#include <utility>

namespace vorn {
namespace {

QRect insideOf(int x, int y, int width, int height, int border) {
  return QRect(x + border, y + border, width, height);
}

X11WindowStack::Window windowOf(xcb_window_t id, QRect rect = {}) {
  X11WindowStack::Window window;
  window.id = id;
  window.rect = rect;
  return window;
}

}  // namespace

X11WindowStack::X11WindowStack(xcb_connection_t* connection, xcb_window_t root, OwnClient own,
                               bool withDamage)
    : connection_(connection),
      root_(root),
      own_(own),
      serverIds_(xcb_get_setup(connection)->resource_id_mask),
      withDamage_(withDamage) {
  const uint32_t events = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
  xcb_change_window_attributes(connection_, root_, XCB_CW_EVENT_MASK, &events);
  if (const xcb_query_extension_reply_t* shape = xcb_get_extension_data(connection_, &xcb_shape_id);
      shape && shape->present)
    shapeEvent_ = shape->first_event;
  scan();
}

void X11WindowStack::scan() {
  XcbReply<xcb_query_tree_reply_t> tree(
      xcb_query_tree_reply(connection_, xcb_query_tree(connection_, root_), nullptr));
  if (!tree) return;
  const xcb_window_t* children = xcb_query_tree_children(tree.get());
  const int count = xcb_query_tree_children_length(tree.get());
  windows_.clear();
  windows_.reserve(size_t(count));
  for (int i = 0; i < count; ++i) windows_.push_back(windowOf(children[i]));
  std::vector<Window*> all;
  for (Window& window : windows_) all.push_back(&window);
  describe(all);
}

// Geometry, depth, class and map state of each window, and whether it is Vorn's: its id is
// in Vorn's range, or it holds a window that is (a window manager's frame). One round trip
// for all of them.
void X11WindowStack::describe(std::vector<Window*> windows) {
  struct Asked {
    xcb_get_window_attributes_cookie_t attributes;
    xcb_get_geometry_cookie_t geometry;
    xcb_query_tree_cookie_t tree;
  };
  std::vector<Asked> asked;
  asked.reserve(windows.size());
  for (Window* window : windows)
    asked.push_back({xcb_get_window_attributes(connection_, window->id),
                     xcb_get_geometry(connection_, window->id),
                     xcb_query_tree(connection_, window->id)});
  for (size_t i = 0; i < windows.size(); ++i) {
    Window& window = *windows[i];
    XcbReply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(connection_, asked[i].attributes, nullptr));
    XcbReply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(connection_, asked[i].geometry, nullptr));
    XcbReply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(connection_, asked[i].tree, nullptr));
    if (!attributes || !geometry) {
      window.mapped = false;
      window.readable = false;
      continue;
    }
    window.rect = insideOf(geometry->x, geometry->y, geometry->width, geometry->height,
                           geometry->border_width);
    window.mapped = attributes->map_state == XCB_MAP_STATE_VIEWABLE;
    window.opaque = geometry->depth != 32;
    window.readable = attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT &&
                      (window.id & ~serverIds_) != 0;
    window.own = own_.owns(window.id);
    if (window.own) readShape(window);
    if (tree && !window.own) {
      const xcb_window_t* children = xcb_query_tree_children(tree.get());
      const int count = xcb_query_tree_children_length(tree.get());
      window.own = std::any_of(children, children + count,
                               [&](xcb_window_t child) { return own_.owns(child); });
    }
    track(window);
  }
}

// Vorn's dim is one window over the whole screen with holes cut into its shape: only what it
// draws counts as Vorn's, so that an area inside a hole is grabbed as it is.
void X11WindowStack::readShape(Window& window) {
  if (!shapeEvent_) return;
  xcb_shape_select_input(connection_, window.id, 1);
  XcbReply<xcb_shape_get_rectangles_reply_t> reply(xcb_shape_get_rectangles_reply(
      connection_, xcb_shape_get_rectangles(connection_, window.id, XCB_SHAPE_SK_BOUNDING), nullptr));
  if (!reply) return;
  const xcb_rectangle_t* rects = xcb_shape_get_rectangles_rectangles(reply.get());
  const int count = xcb_shape_get_rectangles_rectangles_length(reply.get());
  QRegion shape;
  for (int i = 0; i < count; ++i) shape += QRect(rects[i].x, rects[i].y, rects[i].width, rects[i].height);
  // An unshaped window reports its whole self, which follows its size as it changes.
  const bool whole = (QRegion(QRect(QPoint(0, 0), window.rect.size())) - shape).isEmpty();
  window.shape = whole ? std::nullopt : std::optional<QRegion>(shape);
}

QRect X11WindowStack::reshaped(xcb_window_t id, double now) {
  Window* window = find(id);
  if (!window || !window->own) return {};
  const QRegion before = window->drawn();
  readShape(*window);
  const QRegion after = window->drawn();
  if (!window->mapped) return {};
  // A compositing manager repaints where the window no longer draws a little later.
  leavePlace(before - after, now);
  return (before ^ after).boundingRect();
}

// Drawing into another client's window is reported even where the window is hidden, since
// every top-level window is redirected to a picture of its own.
void X11WindowStack::track(Window& window) {
  if (!withDamage_ || window.damage || window.own || !window.readable || !window.mapped) return;
  window.damage = xcb_generate_id(connection_);
  xcb_damage_create(connection_, window.damage, window.id,
                    XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
}

const X11WindowStack::Window* X11WindowStack::find(xcb_window_t id) const {
  const auto it = std::find_if(windows_.begin(), windows_.end(),
                               [&](const Window& w) { return w.id == id; });
  return it == windows_.end() ? nullptr : &*it;
}

X11WindowStack::Window* X11WindowStack::find(xcb_window_t id) {
  return const_cast<Window*>(std::as_const(*this).find(id));
}

const X11WindowStack::Window* X11WindowStack::damaged(uint32_t damage) const {
  const auto it = std::find_if(windows_.begin(), windows_.end(),
                               [&](const Window& w) { return w.damage == damage; });
  return it == windows_.end() ? nullptr : &*it;
}

void X11WindowStack::leave(const Window& window, double now) {
  if (window.own && window.mapped) leavePlace(window.drawn(), now);
}

void X11WindowStack::leavePlace(const QRegion& area, double now) {
  if (!area.isEmpty()) left_.push_back({area, {}, now});
}

void X11WindowStack::repainted(const QRect& drawn) {
  for (LeftPlace& place : left_) {
    place.seenOnce -= drawn;
    const QRegion first = place.unseen & drawn;
    place.unseen -= first;
    place.seenOnce += first;
  }
}

void X11WindowStack::erase(xcb_window_t id, double now) {
  if (const Window* window = find(id)) leave(*window, now);
  std::erase_if(windows_, [&](const Window& w) { return w.id == id; });
}

// `above` is the sibling the window now lies directly on; none: the bottom.
void X11WindowStack::restack(xcb_window_t id, xcb_window_t above) {
  const auto it = std::find_if(windows_.begin(), windows_.end(),
                               [&](const Window& w) { return w.id == id; });
  if (it == windows_.end()) return;
  const Window moved = *it;
  windows_.erase(it);
  auto at = windows_.begin();
  if (above != XCB_WINDOW_NONE) {
    at = std::find_if(windows_.begin(), windows_.end(),
                      [&](const Window& w) { return w.id == above; });
    at = at == windows_.end() ? windows_.end() : at + 1;
  }
  windows_.insert(at, moved);
}

QRect X11WindowStack::configure(const xcb_configure_notify_event_t& event, double now) {
  Window* window = find(event.window);
  if (!window) return {};
  const QRect before = window->rect;
  const QRect after = insideOf(event.x, event.y, event.width, event.height, event.border_width);
  if (before != after) leave(*window, now);
  window->rect = after;
  const bool shown = window->mapped;
  restack(event.window, event.above_sibling);
  return shown ? before.united(after) : QRect();
}

QRect X11WindowStack::mapped(xcb_window_t id, bool on, double now) {
  Window* window = find(id);
  if (!window) return {};
  if (!on) {
    leave(*window, now);
    window->mapped = false;
    return window->rect;
  }
  // What it is may have changed while it was hidden (a frame gets its client just before).
  describe({window});
  return window->rect;
}

QRect X11WindowStack::handle(const xcb_generic_event_t* event, double now) {
  const uint8_t type = event->response_type & 0x7f;
  if (shapeEvent_ && type == shapeEvent_ + XCB_SHAPE_NOTIFY) {
    const auto& e = *reinterpret_cast<const xcb_shape_notify_event_t*>(event);
    return e.shape_kind == XCB_SHAPE_SK_BOUNDING ? reshaped(e.affected_window, now) : QRect();
  }
  switch (type) {
    case XCB_CREATE_NOTIFY: {
      const auto& e = *reinterpret_cast<const xcb_create_notify_event_t*>(event);
      if (e.parent != root_ || find(e.window)) return {};
      windows_.push_back(windowOf(e.window, insideOf(e.x, e.y, e.width, e.height, e.border_width)));
      return {};
    }
    case XCB_DESTROY_NOTIFY: {
      const auto& e = *reinterpret_cast<const xcb_destroy_notify_event_t*>(event);
      const Window* window = find(e.window);
      const QRect area = window && window->mapped ? window->rect : QRect();
      erase(e.window, now);
      return area;
    }
    case XCB_REPARENT_NOTIFY: {
      const auto& e = *reinterpret_cast<const xcb_reparent_notify_event_t*>(event);
      if (e.parent != root_) {
        const Window* window = find(e.window);
        const QRect area = window && window->mapped ? window->rect : QRect();
        erase(e.window, now);
        return area;
      }
      if (find(e.window)) return {};
      windows_.push_back(windowOf(e.window));
      describe({&windows_.back()});
      return windows_.back().mapped ? windows_.back().rect : QRect();
    }
    case XCB_MAP_NOTIFY:
      return mapped(reinterpret_cast<const xcb_map_notify_event_t*>(event)->window, true, now);
    case XCB_UNMAP_NOTIFY:
      return mapped(reinterpret_cast<const xcb_unmap_notify_event_t*>(event)->window, false, now);
    case XCB_CONFIGURE_NOTIFY:
      return configure(*reinterpret_cast<const xcb_configure_notify_event_t*>(event), now);
    case XCB_CIRCULATE_NOTIFY: {
      const auto& e = *reinterpret_cast<const xcb_circulate_notify_event_t*>(event);
      Window* window = find(e.window);
      if (!window) return {};
      const QRect area = window->mapped ? window->rect : QRect();
      const bool top = e.place == XCB_PLACE_ON_TOP && !windows_.empty();
      restack(e.window, top ? windows_.back().id : xcb_window_t(XCB_WINDOW_NONE));
      return area;
    }
    default:
      return {};
  }
}

QRegion X11WindowStack::ownRegion(double now) {
  std::erase_if(left_, [&](const LeftPlace& place) {
    return now - place.since >= leftPlaceSeconds || (place.unseen.isEmpty() && place.seenOnce.isEmpty());
  });
  QRegion region;
  for (const Window& window : windows_)
    if (window.own && window.mapped) region += window.drawn();
  for (const LeftPlace& place : left_) {
    region += place.unseen;
    if (now - place.since < settleSeconds) region += place.seenOnce;
  }
  return region;
}

bool X11WindowStack::isOwn(xcb_window_t id) const {
  const Window* window = find(id);
  return window && window->own;
}

}  // namespace vorn
