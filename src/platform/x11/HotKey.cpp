// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/x11/HotKey.h"

#include "platform/x11/X11Desktop.h"

#include <xcb/xcb_keysyms.h>

#include <X11/keysym.h>

#include <vector>

namespace vorn {
namespace {

xcb_keysym_t keysymOf(int qtKey) {
  if (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9) return XK_0 + (qtKey - Qt::Key_0);
  if (qtKey >= Qt::Key_A && qtKey <= Qt::Key_Z) return XK_a + (qtKey - Qt::Key_A);
  if (qtKey >= Qt::Key_F1 && qtKey <= Qt::Key_F12) return XK_F1 + (qtKey - Qt::Key_F1);
  switch (qtKey) {
    case Qt::Key_Escape: return XK_Escape;
    case Qt::Key_Space: return XK_space;
    case Qt::Key_Return: return XK_Return;
    default: return XCB_NO_SYMBOL;
  }
}

uint16_t modifierMask(Qt::KeyboardModifiers modifiers) {
  uint16_t mask = 0;
  if (modifiers.testFlag(Qt::ShiftModifier)) mask |= XCB_MOD_MASK_SHIFT;
  if (modifiers.testFlag(Qt::ControlModifier)) mask |= XCB_MOD_MASK_CONTROL;
  if (modifiers.testFlag(Qt::AltModifier)) mask |= XCB_MOD_MASK_1;
  if (modifiers.testFlag(Qt::MetaModifier)) mask |= XCB_MOD_MASK_4;
  return mask;
}

// The modifier bit that `keysym` (Num_Lock, Scroll_Lock) is mapped to; 0 when it is not.
uint16_t lockBitOf(xcb_connection_t* c, xcb_key_symbols_t* symbols, xcb_keysym_t keysym) {
  XcbReply<xcb_keycode_t> codes(xcb_key_symbols_get_keycode(symbols, keysym));
  XcbReply<xcb_get_modifier_mapping_reply_t> map(
      xcb_get_modifier_mapping_reply(c, xcb_get_modifier_mapping(c), nullptr));
  if (!codes || !map) return 0;
  const xcb_keycode_t* mapped = xcb_get_modifier_mapping_keycodes(map.get());
  const int perModifier = map->keycodes_per_modifier;
  for (int modifier = 0; modifier < 8; ++modifier)
    for (int i = 0; i < perModifier; ++i)
      for (const xcb_keycode_t* code = codes.get(); *code != XCB_NO_SYMBOL; ++code)
        if (mapped[modifier * perModifier + i] == *code) return uint16_t(1u << modifier);
  return 0;
}

// Every combination of the lock bits in `locks`, the empty one included.
std::vector<uint16_t> lockVariants(uint16_t locks) {
  std::vector<uint16_t> variants{0};
  for (uint16_t bit = 1; bit; bit <<= 1) {
    if (!(locks & bit)) continue;
    const size_t n = variants.size();
    for (size_t i = 0; i < n; ++i) variants.push_back(variants[i] | bit);
  }
  return variants;
}

}  // namespace

std::unique_ptr<HotKey> HotKey::grab(X11Desktop& desktop, int qtKey, Qt::KeyboardModifiers modifiers,
                                     std::function<void()> handler) {
  xcb_connection_t* c = desktop.connection();
  std::unique_ptr<xcb_key_symbols_t, void (*)(xcb_key_symbols_t*)> symbols(
      xcb_key_symbols_alloc(c), xcb_key_symbols_free);
  const xcb_keysym_t keysym = keysymOf(qtKey);
  if (!symbols || keysym == XCB_NO_SYMBOL) return nullptr;
  XcbReply<xcb_keycode_t> codes(xcb_key_symbols_get_keycode(symbols.get(), keysym));
  if (!codes || codes.get()[0] == XCB_NO_SYMBOL) return nullptr;
  const uint16_t locks = XCB_MOD_MASK_LOCK | lockBitOf(c, symbols.get(), XK_Num_Lock) |
                         lockBitOf(c, symbols.get(), XK_Scroll_Lock);
  std::unique_ptr<HotKey> key(new HotKey(desktop, codes.get()[0], modifierMask(modifiers), locks));

  bool held = true;
  std::vector<xcb_void_cookie_t> grabs;
  for (const uint16_t variant : lockVariants(locks))
    grabs.push_back(xcb_grab_key_checked(c, 0, desktop.root(), key->modifiers_ | variant, key->keycode_,
                                         XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
  for (const xcb_void_cookie_t cookie : grabs)
    if (XcbReply<xcb_generic_error_t>(xcb_request_check(c, cookie))) held = false;  // BadAccess
  desktop.readEvents();
  if (!held) return nullptr;  // the destructor gives back the variants that were had

  key->listening_ = desktop.listen([k = key.get(), handler = std::move(handler)](const xcb_generic_event_t& e) {
    const uint8_t type = e.response_type & 0x7f;
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE) return;
    const auto& key = reinterpret_cast<const xcb_key_press_event_t&>(e);
    if (key.detail != k->keycode_) return;
    if (type == XCB_KEY_RELEASE) {
      k->releasedAt_ = key.time;
      return;
    }
    // A held key repeats as release + press with one time stamp: act on the first press only.
    const bool repeat = key.time == k->releasedAt_;
    if (!repeat && (key.state & ~k->locks_ & 0xff) == k->modifiers_) handler();
  });
  return key;
}

HotKey::HotKey(X11Desktop& desktop, uint8_t keycode, uint16_t modifiers, uint16_t locks)
    : desktop_(desktop), keycode_(keycode), modifiers_(modifiers), locks_(locks) {}

HotKey::~HotKey() {
  listening_.reset();
  xcb_connection_t* c = desktop_.connection();
  for (const uint16_t variant : lockVariants(locks_))
    xcb_ungrab_key(c, keycode_, desktop_.root(), modifiers_ | variant);
  xcb_flush(c);
}

}  // namespace vorn
