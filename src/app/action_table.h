#pragma once
// Menu actions from a table of (name, function): each becomes a GSimpleAction on a window or
// on the application that calls its function with the object that owns the table.
#include <span>

#include <gio/gio.h>

namespace brellow::app {

template <class Owner>
struct ActionEntry {
    const char* name;
    void (*run)(Owner&);
};

template <class Owner>
void addActions(GActionMap* map, std::span<const ActionEntry<Owner>> entries, Owner& owner) {
    for (const ActionEntry<Owner>& entry : entries) {
        GSimpleAction* action = g_simple_action_new(entry.name, nullptr);
        g_object_set_data(G_OBJECT(action), "run", reinterpret_cast<gpointer>(entry.run));
        g_signal_connect(
            action, "activate", G_CALLBACK(+[](GSimpleAction* self, GVariant*, gpointer target) {
                auto run =
                    reinterpret_cast<void (*)(Owner&)>(g_object_get_data(G_OBJECT(self), "run"));
                run(*static_cast<Owner*>(target));
            }),
            &owner);
        g_action_map_add_action(map, G_ACTION(action));
        g_object_unref(action);
    }
}

}  // namespace brellow::app
