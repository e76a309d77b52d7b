// DESIGN: changes are found by comparing each published window with the one before, element by
// element, so that code that changes something need not report it.
#include "tree.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "library.h"
#include "objects.h"

namespace reader {

namespace {

constexpr int kWindowId = 0;
constexpr int kPolite = 1;  // as the library numbers them

struct Tree {
  Submit submit;
  AtkObject* program = nullptr;
  Window window;
  int focused = kWindowId;  // id
  std::map<int, std::unique_ptr<Node>> nodes;
};
Tree& g_tree = *new Tree;  // in place as long as the process lives: a reader may hold any object

AtkObject* get_root() {
  return g_tree.program;
}

const char* get_toolkit_name() {
  return "Velmora";
}

const char* get_toolkit_version() {
  return "1.0";
}

Node* find(int id) {
  const auto found = g_tree.nodes.find(id);
  return found != g_tree.nodes.end() ? found->second.get() : nullptr;
}

// Reporting changes ---------------------------------------------------

void tell_child(const Node& node, const char* signal, std::size_t index) {
  AtkObject* parent = node.parent != nullptr ? node.parent->object : g_tree.program;
  g_signal_emit_by_name(parent, signal, static_cast<unsigned>(index), node.object, nullptr);
}

// The focus moves last, when a new dialog is complete.
void tell_states(const Node& node, std::uint64_t before, std::uint64_t now) {
  for (int i = 0; i < 64; ++i) {
    if (i != ATK_STATE_FOCUSED && ((before ^ now) >> i & 1) != 0)
      library().notify_state(node.object, static_cast<AtkState>(i), (now >> i & 1) != 0);
  }
}

void tell_value(const Node& node, float before) {
  AtkPropertyValues values{};
  values.property_name = "accessible-value";
  g_value_init(&values.old_value, G_TYPE_DOUBLE);
  g_value_init(&values.new_value, G_TYPE_DOUBLE);
  g_value_set_double(&values.old_value, static_cast<double>(before));
  g_value_set_double(&values.new_value, static_cast<double>(node.element.value));
  g_signal_emit_by_name(node.object, "property-change::accessible-value", &values, nullptr);
}

int characters(const char* begin, const char* end) {
  return static_cast<int>(g_utf8_strlen(begin, end - begin));
}

// Typing and deleting happen at the end, so the texts have their beginning in common.
void tell_text(const Node& node, const std::string& before) {
  const std::string& now = node.element.text;
  const char* old_end = before.c_str();
  const char* new_end = now.c_str();
  while (*old_end != '\0' && g_utf8_get_char(old_end) == g_utf8_get_char(new_end)) {
    old_end = g_utf8_next_char(old_end);
    new_end = g_utf8_next_char(new_end);
  }
  const int common = characters(before.c_str(), old_end);
  const auto tell = [&](const char* signal, const char* part) {
    if (*part != '\0')
      g_signal_emit_by_name(node.object, signal, common, characters(part, part + std::strlen(part)),
                            part);
  };
  tell("text-remove", old_end);
  tell("text-insert", new_end);
  if (node.element.role == Role::kEntry)
    g_signal_emit_by_name(node.object, "text-caret-moved",
                          characters(now.c_str(), now.c_str() + now.size()));
}

// Newer libraries support its urgency, older ones may not support it at all.
void announce(const Node& node) {
  const GType type = library().object_type();
  const char* text = node.element.name.c_str();
  if (g_signal_lookup("notification", type) != 0) {
    g_signal_emit_by_name(node.object, "notification", text, kPolite);
  } else if (g_signal_lookup("announcement", type) != 0) {
    g_signal_emit_by_name(node.object, "announcement", text);
  }
}

// Readers read a note out when it appears.
void tell_note(const Node& node) {
  if (node.element.id != kWindowId && node.element.role == Role::kNote)
    library().notify_state(node.object, ATK_STATE_SHOWING, TRUE);
}

bool is_note(const std::string& text) {
  const std::vector<Element>& all = g_tree.window.elements;
  return std::any_of(all.begin(), all.end(),
                     [&text](const Element& e) { return e.role == Role::kNote && e.name == text; });
}

// Updating the objects ------------------------------------------------

void remove(int id) {
  Node& node = *find(id);
  if (node.parent != nullptr) {
    std::vector<Node*>& all = node.parent->children;
    const auto place = std::find(all.begin(), all.end(), &node);
    const auto index = static_cast<std::size_t>(place - all.begin());
    all.erase(place);
    tell_child(node, "children-changed::remove", index);
  }
  forget(node.object);
  library().notify_state(node.object, ATK_STATE_DEFUNCT, TRUE);
  g_object_unref(node.object);
  g_tree.nodes.erase(id);
}

// Children go before what they are in.
void remove_with_children(int id) {
  const Node& node = *find(id);
  while (!node.children.empty())
    remove_with_children(node.children.back()->element.id);
  remove(id);
}

void add(const Element& element, Node* parent, std::size_t index) {
  auto made = std::make_unique<Node>();
  Node& node = *made;
  node.element = element;
  node.parent = parent;
  node.object = make_object(&node);
  // Not by the library's function, which would report a new object's parent as a change.
  AtkObject* above = parent != nullptr ? parent->object : g_tree.program;
  node.object->accessible_parent = static_cast<AtkObject*>(g_object_ref(above));
  g_tree.nodes[element.id] = std::move(made);
  if (parent != nullptr)
    parent->children.insert(parent->children.begin() + static_cast<std::ptrdiff_t>(index), &node);
  tell_child(node, "children-changed::add", index);
  tell_note(node);
}

void update(Node& node, const Element& now, const Window& before) {
  const Element was = std::exchange(node.element, now);
  if (was.name != now.name) {
    library().set_name(node.object, now.name.c_str());
    tell_note(node);
    if (now.role == Role::kStatus && !is_note(now.name)) announce(node);
  }
  tell_states(node, states_of(was, before), states_of(now, g_tree.window));
  if (was.value != now.value) tell_value(node, was.value);
  if (was.text != now.text && (now.role == Role::kEntry || now.role == Role::kCombo))
    tell_text(node, was.text);
}

void remove_what_is_gone(const Window& window) {
  std::set<int> stay{kWindowId};
  for (const Element& element : window.elements) {
    const Node* node = find(element.id);
    if (node != nullptr && same_kind(node->element, element)) stay.insert(element.id);
  }
  std::vector<int> gone;
  for (const auto& [id, node] : g_tree.nodes) {
    if (stay.count(id) == 0) gone.push_back(id);
  }
  for (const int id : gone) {
    if (find(id) != nullptr) remove_with_children(id);
  }
}

int focused_id() {
  const std::vector<Element>& all = g_tree.window.elements;
  const auto focused =
      std::find_if(all.begin(), all.end(), [](const Element& e) { return e.focused; });
  return focused != all.end() ? focused->id : kWindowId;
}

void move_focus(bool was_active) {
  const int before = std::exchange(g_tree.focused, focused_id());
  const bool active = g_tree.window.active;
  if (before == g_tree.focused && was_active == active) return;
  const auto tell = [](int id, bool on) {
    if (const Node* node = find(id))
      library().notify_state(node->object, ATK_STATE_FOCUSED, on ? TRUE : FALSE);
  };
  if (was_active) tell(before, false);
  if (active) tell(g_tree.focused, true);
}

void show_window(const Window& before) {
  Element element;
  element.id = kWindowId;
  element.name = g_tree.window.title;
  element.focused = focused_id() == kWindowId;
  Node* node = find(kWindowId);
  if (node == nullptr) return add(element, nullptr, 0);
  update(*node, element, before);
  if (before.active != g_tree.window.active)
    g_signal_emit_by_name(node->object, g_tree.window.active ? "activate" : "deactivate");
}

}  // namespace

void make_root(Submit submit) {
  g_tree.submit = std::move(submit);
  g_tree.program = make_program();
  auto* util = static_cast<AtkUtilClass*>(g_type_class_ref(library().util_type()));
  util->get_root = get_root;
  util->get_toolkit_name = get_toolkit_name;
  util->get_toolkit_version = get_toolkit_version;
}

void show(const Window& window) {
  remove_what_is_gone(window);
  const Window before = std::exchange(g_tree.window, window);
  show_window(before);
  std::map<int, std::size_t> places;  // by parent: how many children are in order
  for (const Element& element : g_tree.window.elements) {
    const std::size_t index = places[element.parent]++;
    if (Node* node = find(element.id)) {
      update(*node, element, before);
    } else {
      add(element, find(element.parent), index);
    }
  }
  move_focus(before.active);
}

const Window& shown() {
  return g_tree.window;
}

Node* window_node() {
  return find(kWindowId);
}

void submit(const Node& node, Verb verb, float value) {
  g_tree.submit({node.element.id, node.element.name, verb, value});
}

}  // namespace reader
