#include "process_row.h"

#include <gtk/gtk-a11y.h>

#include <algorithm>

#include "accessible.h"
#include "display_text.h"
#include "l10n.h"
#include "short_text.h"
#include "theme.h"

namespace {

constexpr TextColor kGreyOnLight{0x8080, 0x8080, 0x8080};
constexpr TextColor kGreyOnDark{0xAAAA, 0xAAAA, 0xAAAA};
constexpr TextColor kCyan{0, 0xCCCC, 0xCCCC};
constexpr TextColor kGreen{0x3333, 0xCCCC, 0x3333};
constexpr TextColor kYellow{0xE666, 0xCCCC, 0x0000};
constexpr TextColor kRed{0xFFFF, 0x3333, 0x3333};

constexpr double kMibPerGib = 1024;
constexpr const char* kSelected = "selected-process";

TextStyle rowStyle(std::optional<TextColor> color = std::nullopt) {
    return {.points = 8, .family = FontFamily::Monospace, .color = color};
}

std::string memoryText(double mib) {
    return mib >= kMibPerGib ? shortText("%.1fG", mib / kMibPerGib) : shortText("%.0fM", mib);
}

GtkWidget* newNameCell(const std::string& name, const TextAttributes& attributes) {
    constexpr int characters = 24;
    GtkWidget* label = newLabel(displayText(name), attributes);
    ellipsize(label);
    gtk_label_set_width_chars(GTK_LABEL(label), characters);
    gtk_label_set_max_width_chars(GTK_LABEL(label), characters);
    return label;
}

/// A long user name gives way, so that the columns behind it stay in line.
GtkWidget* newUserCell(const std::string& user, const TextAttributes& attributes) {
    GtkWidget* label = newLabel(displayText(user), attributes);
    ellipsizeToRoom(label);
    gtk_widget_set_size_request(label, ProcessColumns::kWidths[indexOf(SortColumn::User)], -1);
    return label;
}

bool isSelected(GtkWidget* row) {
    return gtk_style_context_has_class(gtk_widget_get_style_context(row), kSelected) != FALSE;
}

/// What a row says, each figure behind its column's title.
std::string spokenRow(GtkWidget* row) {
    GtkWidget* const cells = gtk_bin_get_child(GTK_BIN(row));
    const auto cell = [&](SortColumn column) {
        return std::string(gtk_label_get_text(GTK_LABEL(childAt(cells, 1 + static_cast<int>(column)))));
    };
    return cell(SortColumn::Name) + " (" + std::to_string(pidOfRow(row)) + "), " + cell(SortColumn::User) +
           ", " + L10n::tr("header.mem") + " " + cell(SortColumn::Mem) + ", " + L10n::tr("header.cpu") + " " +
           cell(SortColumn::Cpu);
}

/// Null when the row is gone: readers may ask for a while what a refresh has taken away.
GtkWidget* rowOf(gpointer accessible) {
    return gtk_accessible_get_widget(GTK_ACCESSIBLE(accessible));
}

AtkStateSet* rowStates(AtkObject* accessible) {
    const gpointer parent = g_type_class_peek(GTK_TYPE_CONTAINER_ACCESSIBLE);
    AtkStateSet* const states = ATK_OBJECT_CLASS(parent)->ref_state_set(accessible);
    GtkWidget* const row = rowOf(accessible);
    if (row == nullptr) return states;
    atk_state_set_add_state(states, ATK_STATE_SELECTABLE);
    if (isSelected(row)) atk_state_set_add_state(states, ATK_STATE_SELECTED);
    return states;
}

void addActivation(gpointer interface, gpointer /*data*/) {
    auto* const action = static_cast<AtkActionIface*>(interface);
    action->get_n_actions = [](AtkAction*) { return 1; };
    action->get_name = [](AtkAction*, int index) { return index == 0 ? "activate" : nullptr; };
    action->do_action = [](AtkAction* accessible, int index) -> gboolean {
        GtkWidget* const row = rowOf(accessible);
        return index == 0 && row != nullptr && gtk_widget_activate(row);
    };
}

GType rowAccessibleType() {
    static const GType type = [] {
        const GType made = g_type_register_static_simple(
            GTK_TYPE_CONTAINER_ACCESSIBLE, "KorvaluneProcessRowAccessible",
            sizeof(GtkContainerAccessibleClass),
            [](gpointer accessible_class, gpointer /*data*/) {
                auto* const answers = ATK_OBJECT_CLASS(accessible_class);
                answers->ref_state_set = rowStates;
                answers->get_name = [](AtkObject* accessible) {
                    GtkWidget* const row = rowOf(accessible);
                    return row != nullptr ? answerName(accessible, spokenRow(row)) : accessible->name;
                };
            },
            sizeof(GtkContainerAccessible), nullptr, GTypeFlags{});
        const GInterfaceInfo action{addActivation, nullptr, nullptr};
        g_type_add_interface_static(made, ATK_TYPE_ACTION, &action);
        return made;
    }();
    return type;
}

GType rowType() {
    static const GType type = g_type_register_static_simple(
        GTK_TYPE_EVENT_BOX, "KorvaluneProcessRow", sizeof(GtkEventBoxClass),
        [](gpointer row_class, gpointer /*data*/) {
            auto* const widget_class = GTK_WIDGET_CLASS(row_class);
            widget_class->activate_signal =
                g_signal_new("activate", G_TYPE_FROM_CLASS(row_class),
                             static_cast<GSignalFlags>(G_SIGNAL_RUN_LAST | G_SIGNAL_ACTION), 0, nullptr,
                             nullptr, nullptr, G_TYPE_NONE, 0);
            gtk_widget_class_set_accessible_type(widget_class, rowAccessibleType());
            gtk_widget_class_set_accessible_role(widget_class, ATK_ROLE_LIST_ITEM);
        },
        sizeof(GtkEventBox), nullptr, GTypeFlags{});
    return type;
}

GType rowBoxType() {
    static const GType type = g_type_register_static_simple(
        GTK_TYPE_BOX, "KorvaluneProcessRows", sizeof(GtkBoxClass),
        [](gpointer box_class, gpointer /*data*/) {
            gtk_widget_class_set_accessible_role(GTK_WIDGET_CLASS(box_class), ATK_ROLE_LIST);
        },
        sizeof(GtkBox), nullptr, GTypeFlags{});
    return type;
}

/// An event box does not notice the pointer by itself. The selected row keeps its own look.
gboolean onPointerCrossed(GtkWidget* row, GdkEventCrossing* event, gpointer /*data*/) {
    if (event->type == GDK_ENTER_NOTIFY && !isSelected(row)) {
        gtk_widget_set_state_flags(row, GTK_STATE_FLAG_PRELIGHT, FALSE);
    } else {
        gtk_widget_unset_state_flags(row, GTK_STATE_FLAG_PRELIGHT);
    }
    return GDK_EVENT_PROPAGATE;
}

/// Nor does it show that it has the keyboard's focus. Themes draw that some pixels within a widget, where it
/// would run through the text of a row this low: it is brought out to the row's edge.
gboolean onDrawn(GtkWidget* row, cairo_t* cr, gpointer /*data*/) {
    if (!gtk_widget_has_visible_focus(row)) return GDK_EVENT_PROPAGATE;
    GtkStyleContext* const context = gtk_widget_get_style_context(row);
    int offset = 0;
    int thickness = 0;
    gtk_style_context_get(context, gtk_style_context_get_state(context), "outline-offset", &offset,
                          "outline-width", &thickness, nullptr);
    const int inset = std::max(-offset - thickness, 0);
    gtk_render_focus(context, cr, -inset, -inset, gtk_widget_get_allocated_width(row) + 2 * inset,
                     gtk_widget_get_allocated_height(row) + 2 * inset);
    return GDK_EVENT_PROPAGATE;
}

}  // namespace

ProcessRowStyles::ProcessRowStyles()
    : name(rowStyle()),
      aside(rowStyle(active_dark() ? kGreyOnDark : kGreyOnLight)),
      memory(rowStyle(kCyan)),
      calm_(rowStyle(kGreen)),
      busy_(rowStyle(kYellow)),
      full_(rowStyle(kRed)) {}

const TextAttributes& ProcessRowStyles::ofCpuUsage(double percent) const {
    if (percent < 50) return calm_;
    return percent < 100 ? busy_ : full_;
}

ProcessColumns::ProcessColumns() {
    for (SizeGroup& group : groups_)
        group.reset(gtk_size_group_new(GTK_SIZE_GROUP_HORIZONTAL));
}

void ProcessColumns::align(SortColumn column, GtkWidget* cell) {
    gtk_size_group_add_widget(groups_[indexOf(column)].get(), cell);
}

GtkWidget* newProcessRow(int rank, const ProcessUsage& process, const ProcessRowStyles& styles,
                         ProcessColumns& columns) {
    GtkWidget* cells = newRow(4);
    const auto add = [&](SortColumn column, GtkWidget* cell) {
        columns.align(column, cell);
        pack(cells, cell);
    };
    const auto addFigure = [&](SortColumn column, const std::string& text, const TextAttributes& attributes) {
        add(column, newColumn(text, attributes, ProcessColumns::kWidths[indexOf(column)], kAtEnd));
    };
    pack(cells, newColumn(std::to_string(rank), styles.aside, ProcessColumns::kRankWidth, kAtEnd));
    add(SortColumn::Name, newNameCell(process.name, styles.name));
    add(SortColumn::User, newUserCell(process.user, styles.aside));
    addFigure(SortColumn::Mem, memoryText(process.memory_mb), styles.memory);
    addFigure(SortColumn::Cpu, shortText("%.1f", process.cpu_usage), styles.ofCpuUsage(process.cpu_usage));

    auto* const row = static_cast<GtkWidget*>(g_object_new(rowType(), nullptr));
    gtk_widget_set_size_request(row, -1, 18);
    gtk_container_add(GTK_CONTAINER(row), cells);
    gtk_style_context_add_class(gtk_widget_get_style_context(row), "process-row");
    gtk_widget_add_events(row, GDK_ENTER_NOTIFY_MASK | GDK_LEAVE_NOTIFY_MASK);
    g_signal_connect(row, "enter-notify-event", G_CALLBACK(onPointerCrossed), nullptr);
    g_signal_connect(row, "leave-notify-event", G_CALLBACK(onPointerCrossed), nullptr);
    gtk_widget_set_can_focus(row, TRUE);
    g_signal_connect_after(row, "draw", G_CALLBACK(onDrawn), nullptr);
    g_object_set_data(G_OBJECT(row), "pid", GINT_TO_POINTER(process.pid));
    g_object_set_data_full(G_OBJECT(row), "pname", g_strdup(process.name.c_str()), g_free);
    return row;
}

GtkWidget* newRowBox() {
    return static_cast<GtkWidget*>(
        g_object_new(rowBoxType(), "orientation", GTK_ORIENTATION_VERTICAL, "spacing", 1, nullptr));
}

void markSelected(GtkWidget* row) {
    gtk_style_context_add_class(gtk_widget_get_style_context(row), kSelected);
}

int pidOfRow(GtkWidget* row) {
    return GPOINTER_TO_INT(g_object_get_data(G_OBJECT(row), "pid"));
}
