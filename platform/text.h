// Lines of text, taken apart in place: nothing is allocated, pointers stay inside the line.
#pragma once

// Cuts every line feed and carriage return off the end and returns `text`.
char* chomp(char* text);

// Divides "name=value" at its first "=", blanks and all. Both are null when there is no "=" or the
// name is empty. The line is cut at the "=".
void divide_name_equ_value_pair(char* line, char** name, char** value);

// The lenient form: blanks (space, tab) around name and value are dropped, and a line that is blank
// or a comment ("#" or ";" first) is no pair either. An empty value is "", not null.
void divide_name_equ_value_pair_loose(char* line, char** name, char** value);
