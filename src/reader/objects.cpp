// DESIGN: answers come from the node alone, as it was last published, never from the rest of the
// program. The type of a node's object depends on what can be done with it, because readers assume
// that every interface of an object can be used.
#include "objects.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "library.h"

namespace reader {

namespace {

// Interfaces besides the component interface, which all objects have.
constexpr unsigned kAction = 1;
constexpr unsigned kValue = 2;
constexpr unsigned kText = 4;
constexpr unsigned kWindow = 8;
constexpr unsigned kKinds = 16;

constexpr double kStepDb = 0.5;

struct Object {
  AtkObject base;
  Node* node;  // null: it is gone
};

template <typename From>
Node* node_of(From* object) {
  return static_cast<Object*>(static_cast<void*>(object))->node;
}

template <typename To>
To* as(void* instance) {
  return static_cast<To*>(instance);
}

unsigned kind_of(const Element& e) {
  if (e.id == 0) return kWindow;
  if (e.role == Role::kSlider) return kValue | kAction;
  const unsigned text = e.role == Role::kEntry || e.role == Role::kCombo ? kText : 0;
  return text | (e.pressable ? kAction : 0);
}

// The object itself ---------------------------------------------------

int get_n_children(AtkObject* object) {
  const Node* node = node_of(object);
  return node != nullptr ? static_cast<int>(node->children.size()) : 0;
}

AtkObject* ref_child(AtkObject* object, int i) {
  const Node* node = node_of(object);
  if (node == nullptr || i < 0 || i >= get_n_children(object)) return nullptr;
  return as<AtkObject>(g_object_ref(node->children[static_cast<std::size_t>(i)]->object));
}

int get_index_in_parent(AtkObject* object) {
  const Node* node = node_of(object);
  if (node == nullptr) return -1;
  if (node->parent == nullptr) return 0;
  const std::vector<Node*>& all = node->parent->children;
  return static_cast<int>(std::find(all.begin(), all.end(), node) - all.begin());
}

AtkStateSet* ref_state_set(AtkObject* object) {
  auto* parent = as<AtkObjectClass>(g_type_class_peek(library().object_type()));
  AtkStateSet* set = parent->ref_state_set(object);
  const Node* node = node_of(object);
  const std::uint64_t states =
      node != nullptr ? states_of(node->element, shown()) : std::uint64_t{1} << ATK_STATE_DEFUNCT;
  for (int i = 0; i < 64; ++i) {
    if ((states >> i & 1) != 0) library().add_state(set, static_cast<AtkStateType>(i));
  }
  return set;
}

// A status is read out when the reader has nothing more important.
AtkAttributeSet* get_attributes(AtkObject* object) {
  const Node* node = node_of(object);
  if (node == nullptr || node->element.role != Role::kStatus) return nullptr;
  auto* live = as<AtkAttribute>(g_malloc(sizeof(AtkAttribute)));
  *live = {g_strdup("live"), g_strdup("polite")};
  return g_slist_append(nullptr, live);
}

void init_class(void* klass, void* /*data*/) {
  auto* c = as<AtkObjectClass>(klass);
  c->get_n_children = get_n_children;
  c->ref_child = ref_child;
  c->get_index_in_parent = get_index_in_parent;
  c->ref_state_set = ref_state_set;
  c->get_attributes = get_attributes;
}

// Its place -----------------------------------------------------------

void get_extents(AtkComponent* component, int* x, int* y, int* w, int* h, AtkCoordType from) {
  const Node* node = node_of(component);
  if (node == nullptr) {
    *x = *y = *w = *h = -1;
    return;
  }
  const Window& window = shown();
  const Element& e = node->element;
  const auto scaled = [&](float length) {
    return static_cast<int>(std::lround(length * window.zoom));
  };
  *x = scaled(e.x);
  *y = scaled(e.y);
  *w = e.id == 0 ? window.w : scaled(e.w);
  *h = e.id == 0 ? window.h : scaled(e.h);
  if (from == ATK_XY_SCREEN) {
    *x += window.x;
    *y += window.y;
  } else if (from == ATK_XY_PARENT && node->parent != nullptr) {
    *x -= scaled(node->parent->element.x);
    *y -= scaled(node->parent->element.y);
  }
}

void init_component(void* iface, void* /*data*/) {
  as<AtkComponentIface>(iface)->get_extents = get_extents;
}

// What can be done with it --------------------------------------------

struct ActionRow {
  const char* name;
  Verb verb;
  double step_db;
};
constexpr ActionRow kPressed[] = {{"click", Verb::kPress, 0.0}, {"delete", Verb::kErase, 0.0}};
constexpr ActionRow kMoved[] = {{"increase", Verb::kSet, kStepDb},
                                {"decrease", Verb::kSet, -kStepDb}};

int get_n_actions(AtkAction* action) {
  const Node* node = node_of(action);
  if (node == nullptr) return 0;
  return node->element.role == Role::kSlider || node->element.erasable ? 2 : 1;
}

// Null where there is no such action.
const ActionRow* find_action(AtkAction* action, int i) {
  if (i < 0 || i >= get_n_actions(action)) return nullptr;
  return &(node_of(action)->element.role == Role::kSlider ? kMoved : kPressed)[i];
}

bool set_gain(const Node& node, double gain_db) {
  if (!node.element.enabled || std::isnan(gain_db)) return false;
  const auto limit = static_cast<double>(node.element.limit);
  submit(node, Verb::kSet, static_cast<float>(std::clamp(gain_db, -limit, limit)));
  return true;
}

gboolean do_action(AtkAction* action, int i) {
  const ActionRow* row = find_action(action, i);
  if (row == nullptr || !node_of(action)->element.enabled) return FALSE;
  const Node& node = *node_of(action);
  if (row->verb == Verb::kSet)
    return set_gain(node, static_cast<double>(node.element.value) + row->step_db) ? TRUE : FALSE;
  submit(node, row->verb);
  return TRUE;
}

const char* get_action_name(AtkAction* action, int i) {
  const ActionRow* row = find_action(action, i);
  return row != nullptr ? row->name : nullptr;
}

void init_action(void* iface, void* /*data*/) {
  auto* i = as<AtkActionIface>(iface);
  i->do_action = do_action;
  i->get_n_actions = get_n_actions;
  i->get_name = get_action_name;
}

void get_value(AtkValue* value, double* gain_db, char** text) {
  const Node* node = node_of(value);
  *gain_db = node != nullptr ? static_cast<double>(node->element.value) : 0.0;
  if (text != nullptr) *text = node != nullptr ? g_strdup(node->element.text.c_str()) : nullptr;
}

AtkRange* get_range(AtkValue* value) {
  const Node* node = node_of(value);
  const double limit = node != nullptr ? static_cast<double>(node->element.limit) : 0.0;
  return library().new_range(-limit, limit, nullptr);
}

double get_increment(AtkValue* /*value*/) {
  return kStepDb;
}

void set_value(AtkValue* value, double gain_db) {
  if (const Node* node = node_of(value)) set_gain(*node, gain_db);
}

void init_value(void* iface, void* /*data*/) {
  auto* i = as<AtkValueIface>(iface);
  i->get_value_and_text = get_value;
  i->get_range = get_range;
  i->get_increment = get_increment;
  i->set_value = set_value;
}

// Its text ------------------------------------------------------------
//
// Offsets count characters. The text is one line; an entry's caret is at its end.

std::string text_of(AtkText* text) {
  const Node* node = node_of(text);
  return node != nullptr ? node->element.text : "";
}

int get_character_count(AtkText* text) {
  return static_cast<int>(g_utf8_strlen(text_of(text).c_str(), -1));
}

char* get_text(AtkText* text, int start, int end) {
  const int count = get_character_count(text);
  const int last = end < 0 ? count : std::min(end, count);
  const int first = std::clamp(start, 0, last);
  return g_utf8_substring(text_of(text).c_str(), first, last);
}

unsigned get_character_at(AtkText* text, int offset) {
  if (offset < 0 || offset >= get_character_count(text)) return 0;
  const std::string all = text_of(text);
  return g_utf8_get_char(g_utf8_offset_to_pointer(all.c_str(), offset));
}

char* get_string_at(AtkText* text, int offset, AtkTextGranularity unit, int* start, int* end) {
  const int count = get_character_count(text);
  const bool one = unit == ATK_TEXT_GRANULARITY_CHAR;
  *start = one ? std::clamp(offset, 0, count) : 0;
  *end = one ? std::min(*start + 1, count) : count;
  return get_text(text, *start, *end);
}

void get_character_extents(AtkText* text, int /*offset*/, int* x, int* y, int* w, int* h,
                           AtkCoordType from) {
  get_extents(as<AtkComponent>(text), x, y, w, h, from);
}

int get_n_selections(AtkText* text) {
  const Node* node = node_of(text);
  return node != nullptr && node->element.selected && !node->element.text.empty() ? 1 : 0;
}

char* get_selection(AtkText* text, int i, int* start, int* end) {
  *start = *end = 0;
  if (i < 0 || i >= get_n_selections(text)) return nullptr;
  *end = get_character_count(text);
  return get_text(text, 0, -1);
}

void init_text(void* iface, void* /*data*/) {
  auto* i = as<AtkTextIface>(iface);
  i->get_text = get_text;
  i->get_character_at_offset = get_character_at;
  i->get_string_at_offset = get_string_at;
  i->get_character_count = get_character_count;
  i->get_caret_offset = get_character_count;
  i->get_character_extents = get_character_extents;
  i->get_n_selections = get_n_selections;
  i->get_selection = get_selection;
}

// The object types, each made when it is first needed -----------------

void add_interface(GType type, GType (*interface_type)(), GInterfaceInitFunc init) {
  const GInterfaceInfo info{init, nullptr, nullptr};
  g_type_add_interface_static(type, interface_type(), &info);
}

GType type_of(unsigned kind) {
  static GType types[kKinds];
  GType& type = types[kind];
  if (type != 0) return type;
  GTypeInfo info{};
  info.class_size = sizeof(AtkObjectClass);
  info.class_init = init_class;
  info.instance_size = sizeof(Object);
  const std::string name = "VelmoraElement" + std::to_string(kind);
  type = g_type_register_static(library().object_type(), name.c_str(), &info, GTypeFlags{});
  add_interface(type, library().component_type, init_component);
  if ((kind & kAction) != 0) add_interface(type, library().action_type, init_action);
  if ((kind & kValue) != 0) add_interface(type, library().value_type, init_value);
  if ((kind & kText) != 0) add_interface(type, library().text_type, init_text);
  if ((kind & kWindow) != 0) add_interface(type, library().window_type, nullptr);
  return type;
}

// The program: it has one child, the window, and no place.
int get_n_windows(AtkObject* /*program*/) {
  return window_node() != nullptr ? 1 : 0;
}

AtkObject* ref_window(AtkObject* /*program*/, int i) {
  const Node* window = window_node();
  return i == 0 && window != nullptr ? as<AtkObject>(g_object_ref(window->object)) : nullptr;
}

void init_program_class(void* klass, void* /*data*/) {
  auto* c = as<AtkObjectClass>(klass);
  c->get_n_children = get_n_windows;
  c->ref_child = ref_window;
}

}  // namespace

bool same_kind(const Element& a, const Element& b) {
  return a.role == b.role && a.parent == b.parent && kind_of(a) == kind_of(b);
}

AtkObject* make_object(Node* node) {
  auto* object = as<AtkObject>(g_object_new(type_of(kind_of(node->element)), nullptr));
  as<Object>(object)->node = node;
  library().set_role(object, role_of(node->element));
  library().set_name(object, node->element.name.c_str());
  return object;
}

void forget(AtkObject* object) {
  as<Object>(object)->node = nullptr;
}

AtkObject* make_program() {
  GTypeInfo info{};
  info.class_size = sizeof(AtkObjectClass);
  info.class_init = init_program_class;
  info.instance_size = sizeof(AtkObject);
  const GType type =
      g_type_register_static(library().object_type(), "VelmoraProgram", &info, GTypeFlags{});
  auto* program = as<AtkObject>(g_object_new(type, nullptr));
  library().set_role(program, ATK_ROLE_APPLICATION);
  library().set_name(program, "Velmora");
  return program;
}

}  // namespace reader
