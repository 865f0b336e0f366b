// The words of the control socket, which the gateways of two servers exchange as well: commands and
// the statuses of replies.
#pragma once

// ---- Commands

constexpr char command_test[] = "test";
constexpr char command_list[] = "list";
constexpr char command_add[] = "add";
constexpr char command_modify[] = "modify";
constexpr char command_ready[] = "ready";
constexpr char command_restart[] = "restart";
constexpr char command_cancel[] = "cancel";
constexpr char command_pause[] = "pause";
constexpr char command_resume[] = "resume";
constexpr char command_remove[] = "remove";

// ---- Statuses

constexpr char status_ok[] = "OK";
constexpr char status_not_found[] = "NOT FOUND";
constexpr char status_out_of_memory[] = "OUT OF MEMORY";
constexpr char status_too_many[] = "TOO MANY ITEMS";
// Kept on purpose: a failed restart is refused with the same words. Effect: clients know one text
// for both.
constexpr char status_cannot_be_cancelled[] = "ITEM CANNOT BE CANCELLED";
constexpr char status_cannot_be_modified[] = "ONE OR MORE PARAMETERS CANNOT BE MODIFIED";
constexpr char status_busy[] = "ITEM IS BUSY";
constexpr char status_not_accepted[] = "One or more parameters were not accepted";

// ---- Between two servers only

// The field that names an uploaded source, and the reply header that holds a refusal's status.
constexpr char key_upload_name[] = "*name";
constexpr char header_refusal[] = "X-comm-error";

// The media types of a reply's body: a job or a listing, and the text of a refusal.
constexpr char media_type_json[] = "application/json";
constexpr char media_type_text[] = "text/plain";
