// The word tables of the verifier, compiled in from verifier/tables/*.txt.
// Each is a null-ended array of lines "STANDARD|spelling|spelling..."; units
// carry a second field, + or -, whether a number must follow the designator.
#pragma once

extern const char* const qvav_table_suffixes[];
extern const char* const qvav_table_units[];
extern const char* const qvav_table_directionals[];
extern const char* const qvav_table_states[];
extern const char* const qvav_table_keywords[];
extern const char* const qvav_table_ordinals[];
