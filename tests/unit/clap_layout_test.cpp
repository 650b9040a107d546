// Pins the size, alignment and every field offset of our CLAP declarations
// to the values of the CLAP 1.1.8 ABI on x86-64, so that an edit of clap/
// can't silently break the plug-in in every host.
#include <gtest/gtest.h>
#include <cstddef>
#include "clap/clap.h"

// In a block of its own per record: LAYOUT names the record, AT one field.
#define LAYOUT(type, size, align)                    \
    using T = type;                                  \
    const char *record = #type;                      \
    EXPECT_EQ(sizeof(T), size##u) << record;         \
    EXPECT_EQ(alignof(T), align##u) << record
#define AT(field, offset) EXPECT_EQ(offsetof(T, field), offset##u) << record << "." #field

TEST(ClapLayout, core_records_match_clap_abi) {
    { LAYOUT(clap_version_t, 12, 4); AT(major, 0); AT(minor, 4); AT(revision, 8); }
    { LAYOUT(clap_plugin_entry_t, 40, 8); AT(clap_version, 0); AT(init, 16); AT(deinit, 24); AT(get_factory, 32); }
    { LAYOUT(clap_color_t, 4, 1); AT(alpha, 0); AT(red, 1); AT(green, 2); AT(blue, 3); }
    { LAYOUT(clap_host_t, 88, 8); AT(clap_version, 0); AT(host_data, 16); AT(name, 24); AT(vendor, 32); AT(url, 40);
      AT(version, 48); AT(get_extension, 56); AT(request_restart, 64); AT(request_process, 72);
      AT(request_callback, 80); }
    { LAYOUT(clap_audio_buffer_t, 32, 8); AT(data32, 0); AT(data64, 8); AT(channel_count, 16); AT(latency, 20);
      AT(constant_mask, 24); }
    { LAYOUT(clap_process_t, 64, 8); AT(steady_time, 0); AT(frames_count, 8); AT(transport, 16); AT(audio_inputs, 24);
      AT(audio_outputs, 32); AT(audio_inputs_count, 40); AT(audio_outputs_count, 44); AT(in_events, 48);
      AT(out_events, 56); }
    { LAYOUT(clap_plugin_descriptor_t, 88, 8); AT(clap_version, 0); AT(id, 16); AT(name, 24); AT(vendor, 32);
      AT(url, 40); AT(manual_url, 48); AT(support_url, 56); AT(version, 64); AT(description, 72); AT(features, 80); }
    { LAYOUT(clap_plugin_t, 96, 8); AT(desc, 0); AT(plugin_data, 8); AT(init, 16); AT(destroy, 24); AT(activate, 32);
      AT(deactivate, 40); AT(start_processing, 48); AT(stop_processing, 56); AT(reset, 64); AT(process, 72);
      AT(get_extension, 80); AT(on_main_thread, 88); }
    { LAYOUT(clap_plugin_factory_t, 24, 8); AT(get_plugin_count, 0); AT(get_plugin_descriptor, 8);
      AT(create_plugin, 16); }
    { LAYOUT(clap_istream_t, 16, 8); AT(ctx, 0); AT(read, 8); }
    { LAYOUT(clap_ostream_t, 16, 8); AT(ctx, 0); AT(write, 8); }
}

TEST(ClapLayout, event_records_match_clap_abi) {
    { LAYOUT(clap_event_header_t, 16, 4); AT(size, 0); AT(time, 4); AT(space_id, 8); AT(type, 10); AT(flags, 12); }
    { LAYOUT(clap_event_note_t, 40, 8); AT(header, 0); AT(note_id, 16); AT(port_index, 20); AT(channel, 22);
      AT(key, 24); AT(velocity, 32); }
    { LAYOUT(clap_event_note_expression_t, 40, 8); AT(header, 0); AT(expression_id, 16); AT(note_id, 20);
      AT(port_index, 24); AT(channel, 26); AT(key, 28); AT(value, 32); }
    { LAYOUT(clap_event_param_value_t, 56, 8); AT(header, 0); AT(param_id, 16); AT(cookie, 24); AT(note_id, 32);
      AT(port_index, 36); AT(channel, 38); AT(key, 40); AT(value, 48); }
    { LAYOUT(clap_event_param_mod_t, 56, 8); AT(header, 0); AT(param_id, 16); AT(cookie, 24); AT(note_id, 32);
      AT(port_index, 36); AT(channel, 38); AT(key, 40); AT(amount, 48); }
    { LAYOUT(clap_event_param_gesture_t, 20, 4); AT(header, 0); AT(param_id, 16); }
    { LAYOUT(clap_event_transport_t, 104, 8); AT(header, 0); AT(flags, 16); AT(song_pos_beats, 24);
      AT(song_pos_seconds, 32); AT(tempo, 40); AT(tempo_inc, 48); AT(loop_start_beats, 56); AT(loop_end_beats, 64);
      AT(loop_start_seconds, 72); AT(loop_end_seconds, 80); AT(bar_start, 88); AT(bar_number, 96); AT(tsig_num, 100);
      AT(tsig_denom, 102); }
    { LAYOUT(clap_event_midi_t, 24, 4); AT(header, 0); AT(port_index, 16); AT(data, 18); }
    { LAYOUT(clap_event_midi_sysex_t, 40, 8); AT(header, 0); AT(port_index, 16); AT(buffer, 24); AT(size, 32); }
    { LAYOUT(clap_event_midi2_t, 36, 4); AT(header, 0); AT(port_index, 16); AT(data, 20); }
    { LAYOUT(clap_input_events_t, 24, 8); AT(ctx, 0); AT(size, 8); AT(get, 16); }
    { LAYOUT(clap_output_events_t, 16, 8); AT(ctx, 0); AT(try_push, 8); }
}

TEST(ClapLayout, extension_tables_match_clap_abi) {
    { LAYOUT(clap_param_info_t, 1320, 8); AT(id, 0); AT(flags, 4); AT(cookie, 8); AT(name, 16); AT(module, 272);
      AT(min_value, 1296); AT(max_value, 1304); AT(default_value, 1312); }
    { LAYOUT(clap_plugin_params_t, 48, 8); AT(count, 0); AT(get_info, 8); AT(get_value, 16); AT(value_to_text, 24);
      AT(text_to_value, 32); AT(flush, 40); }
    { LAYOUT(clap_host_params_t, 24, 8); AT(rescan, 0); AT(clear, 8); AT(request_flush, 16); }
    { LAYOUT(clap_audio_port_info_t, 288, 8); AT(id, 0); AT(name, 4); AT(flags, 260); AT(channel_count, 264);
      AT(port_type, 272); AT(in_place_pair, 280); }
    { LAYOUT(clap_plugin_audio_ports_t, 16, 8); AT(count, 0); AT(get, 8); }
    { LAYOUT(clap_plugin_state_t, 16, 8); AT(save, 0); AT(load, 8); }
    { LAYOUT(clap_host_state_t, 8, 8); AT(mark_dirty, 0); }
    { LAYOUT(clap_window_t, 16, 8); AT(api, 0); AT(x11, 8); AT(ptr, 8); }
    { LAYOUT(clap_gui_resize_hints_t, 12, 4); AT(can_resize_horizontally, 0); AT(can_resize_vertically, 1);
      AT(preserve_aspect_ratio, 2); AT(aspect_ratio_width, 4); AT(aspect_ratio_height, 8); }
    { LAYOUT(clap_plugin_gui_t, 120, 8); AT(is_api_supported, 0); AT(get_preferred_api, 8); AT(create, 16);
      AT(destroy, 24); AT(set_scale, 32); AT(get_size, 40); AT(can_resize, 48); AT(get_resize_hints, 56);
      AT(adjust_size, 64); AT(set_size, 72); AT(set_parent, 80); AT(set_transient, 88); AT(suggest_title, 96);
      AT(show, 104); AT(hide, 112); }
    { LAYOUT(clap_host_gui_t, 40, 8); AT(resize_hints_changed, 0); AT(request_resize, 8); AT(request_show, 16);
      AT(request_hide, 24); AT(closed, 32); }
    { LAYOUT(clap_plugin_timer_support_t, 8, 8); AT(on_timer, 0); }
    { LAYOUT(clap_host_timer_support_t, 16, 8); AT(register_timer, 0); AT(unregister_timer, 8); }
    { LAYOUT(clap_plugin_posix_fd_support_t, 8, 8); AT(on_fd, 0); }
    { LAYOUT(clap_host_posix_fd_support_t, 24, 8); AT(register_fd, 0); AT(modify_fd, 8); AT(unregister_fd, 16); }
    { LAYOUT(clap_host_log_t, 8, 8); AT(log, 0); }
    { LAYOUT(clap_host_thread_check_t, 16, 8); AT(is_main_thread, 0); AT(is_audio_thread, 8); }
    { LAYOUT(clap_host_voice_info_t, 8, 8); AT(changed, 0); }
}

TEST(ClapLayout, draft_tables_and_factories_match_clap_abi) {
    { LAYOUT(clap_context_menu_target_t, 8, 4); AT(kind, 0); AT(id, 4); }
    { LAYOUT(clap_context_menu_entry_t, 16, 8); AT(label, 0); AT(is_enabled, 8); AT(action_id, 12); }
    { LAYOUT(clap_context_menu_check_entry_t, 16, 8); AT(label, 0); AT(is_enabled, 8); AT(is_checked, 9);
      AT(action_id, 12); }
    { LAYOUT(clap_context_menu_builder_t, 24, 8); AT(ctx, 0); AT(add_item, 8); AT(supports, 16); }
    { LAYOUT(clap_host_context_menu_t, 32, 8); AT(populate, 0); AT(perform, 8); AT(can_popup, 16); AT(popup, 24); }
    { LAYOUT(clap_plugin_param_indication_t, 16, 8); AT(set_mapping, 0); AT(set_automation, 8); }
    { LAYOUT(clap_plugin_preset_load_t, 8, 8); AT(from_location, 0); }
    { LAYOUT(clap_host_preset_load_t, 16, 8); AT(on_error, 0); AT(loaded, 8); }
    { LAYOUT(clap_plugin_id_t, 16, 8); AT(abi, 0); AT(id, 8); }
    { LAYOUT(clap_preset_discovery_metadata_receiver_t, 88, 8); AT(receiver_data, 0); AT(on_error, 8);
      AT(begin_preset, 16); AT(add_plugin_id, 24); AT(set_soundpack_id, 32); AT(set_flags, 40); AT(add_creator, 48);
      AT(set_description, 56); AT(set_timestamps, 64); AT(add_feature, 72); AT(add_extra_info, 80); }
    { LAYOUT(clap_preset_discovery_filetype_t, 24, 8); AT(name, 0); AT(description, 8); AT(file_extension, 16); }
    { LAYOUT(clap_preset_discovery_location_t, 32, 8); AT(flags, 0); AT(name, 8); AT(kind, 16); AT(location, 24); }
    { LAYOUT(clap_preset_discovery_soundpack_t, 64, 8); AT(flags, 0); AT(id, 8); AT(name, 16); AT(description, 24);
      AT(homepage_url, 32); AT(vendor, 40); AT(image_path, 48); AT(release_timestamp, 56); }
    { LAYOUT(clap_preset_discovery_provider_descriptor_t, 40, 8); AT(clap_version, 0); AT(id, 16); AT(name, 24);
      AT(vendor, 32); }
    { LAYOUT(clap_preset_discovery_provider_t, 48, 8); AT(desc, 0); AT(provider_data, 8); AT(init, 16);
      AT(destroy, 24); AT(get_metadata, 32); AT(get_extension, 40); }
    { LAYOUT(clap_preset_discovery_indexer_t, 88, 8); AT(clap_version, 0); AT(name, 16); AT(vendor, 24); AT(url, 32);
      AT(version, 40); AT(indexer_data, 48); AT(declare_filetype, 56); AT(declare_location, 64);
      AT(declare_soundpack, 72); AT(get_extension, 80); }
    { LAYOUT(clap_preset_discovery_factory_t, 24, 8); AT(count, 0); AT(get_descriptor, 8); AT(create, 16); }
    { LAYOUT(clap_plugin_invalidation_source_t, 24, 8); AT(directory, 0); AT(filename_glob, 8);
      AT(recursive_scan, 16); }
    { LAYOUT(clap_plugin_invalidation_factory_t, 24, 8); AT(count, 0); AT(get, 8); AT(refresh, 16); }
}
