// What the client prints: data on standard output, everything else on standard error.
#pragma once

#include <string>
#include <string_view>

#include "tools/client/item_view.h"
#include "tools/client/vod_service.h"
#include "tools/qx_vod_ctl/id_resolver.h"

// A line on standard output. It is out at once: whoever reads it may wait for it.
void print_line(std::string_view line);

// The reply's data on a line of its own; nothing where there is none.
void print_raw(const std::string& data);

// "ID  STATE  TEXT" on standard output.
void print_item(const item_view& item);

// "qx_vod_ctl: SUBJECT: CAUSE" on standard error, without the subject where it is empty.
void report(std::string_view subject, std::string_view cause);

// Reports a reply that is no acceptance and returns its exit status. Where the reply carries the
// item, its text follows in brackets: there stands the reason. Behind it stands the advice.
int report_reply(std::string_view subject, const service_reply& reply);

// Reports an id that leads to no item, with its candidates, and returns its exit status.
int report_id(std::string_view given, const resolved_id& id);
