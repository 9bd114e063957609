#pragma once

#include <atk/atk.h>
#include <gtk/gtk-a11y.h>
#include <gtk/gtk.h>

#include <memory>
#include <string>
#include <vector>

#include "cairo_handles.h"

/// The widgets as screen readers see them: accessible objects with a role, a name, states and relations.

using AtkObjectPtr = std::unique_ptr<AtkObject, FreeWith<g_object_unref>>;

inline std::string nameOf(AtkObject* accessible) {
    const char* const name = atk_object_get_name(accessible);
    return name != nullptr ? name : "";
}

inline std::string nameOf(GtkWidget* widget) {
    return nameOf(gtk_widget_get_accessible(widget));
}

inline AtkRole roleOf(GtkWidget* widget) {
    return atk_object_get_role(gtk_widget_get_accessible(widget));
}

/// For messages: "push button \"Back\"".
inline std::string described(AtkObject* accessible) {
    return std::string(atk_role_get_name(atk_object_get_role(accessible))) + " \"" + nameOf(accessible) +
           "\"";
}

/// What speaks for the root and for all below it that can be seen, or scrolled into sight.
inline std::vector<AtkObjectPtr> accessiblesBelow(AtkObject* root) {
    std::vector<AtkObjectPtr> found;
    found.emplace_back(static_cast<AtkObject*>(g_object_ref(root)));
    for (int i = 0; i < atk_object_get_n_accessible_children(root); ++i) {
        const AtkObjectPtr child(atk_object_ref_accessible_child(root, i));
        GtkWidget* const widget =
            GTK_IS_ACCESSIBLE(child.get()) ? gtk_accessible_get_widget(GTK_ACCESSIBLE(child.get())) : nullptr;
        if (widget == nullptr || !gtk_widget_get_mapped(widget)) continue;
        for (AtkObjectPtr& each : accessiblesBelow(child.get()))
            found.push_back(std::move(each));
    }
    return found;
}

inline bool hasState(AtkObject* accessible, AtkStateType state) {
    AtkStateSet* const states = atk_object_ref_state_set(accessible);
    const bool has = atk_state_set_contains_state(states, state) != FALSE;
    g_object_unref(states);
    return has;
}

/// Those to which an accessible has a relation.
inline std::vector<AtkObject*> related(AtkObject* accessible, AtkRelationType type) {
    std::vector<AtkObject*> found;
    AtkRelationSet* const relations = atk_object_ref_relation_set(accessible);
    if (AtkRelation* const relation = atk_relation_set_get_relation_by_type(relations, type)) {
        GPtrArray* const targets = atk_relation_get_target(relation);
        for (guint i = 0; i < targets->len; ++i)
            found.push_back(static_cast<AtkObject*>(g_ptr_array_index(targets, i)));
    }
    g_object_unref(relations);
    return found;
}

/// What a widget is worth, for those that have a value.
struct AccessibleValue {
    double current = 0, lower = 0, upper = 0;
    std::string text;
};

inline AccessibleValue valueOf(GtkWidget* widget) {
    AtkValue* const accessible = ATK_VALUE(gtk_widget_get_accessible(widget));
    AccessibleValue value;
    char* text = nullptr;
    atk_value_get_value_and_text(accessible, &value.current, &text);
    if (text != nullptr) value.text = text;
    g_free(text);
    AtkRange* const range = atk_value_get_range(accessible);
    value.lower = atk_range_get_lower_limit(range);
    value.upper = atk_range_get_upper_limit(range);
    atk_range_free(range);
    return value;
}
