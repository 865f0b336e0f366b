// Prints the client's output: data on standard output, everything else on standard error.
#pragma once

#include <string>
#include <string_view>

#include "tools/client/item_view.h"
#include "tools/client/vod_service.h"
#include "tools/qx_vod_ctl/id_resolver.h"

// A line on standard output, flushed at once because the reader may be waiting for it.
void print_line(std::string_view line);

// The reply's data on a separate line; nothing if there is none.
void print_raw(const std::string& data);

// "ID  STATE  TEXT" on standard output.
void print_item(const item_view& item);

// "qx_vod_ctl: SUBJECT: CAUSE" on standard error, without the subject if it is empty.
void report(std::string_view subject, std::string_view cause);

// Reports a refusal and returns its exit status. If the reply contains the item, the item's text,
// which gives the reason, follows in brackets. Then follows the advice.
int report_reply(std::string_view subject, const service_reply& reply);

// Prints the item that an accepted reply carries, with `json` its data as they came, and reports
// any other reply. Returns the exit status.
int print_reply(const std::string& entry_id, const service_reply& reply, bool json);

// Reports an id that leads to no item, with its candidates, and returns its exit status.
int report_id(std::string_view given, const resolved_id& id);
