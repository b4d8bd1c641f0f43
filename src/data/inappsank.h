// data/inappsank.h: a character that may be absent and the qualities it has when present, made one
// Sankoff character of all combinations.
#pragma once

void auto_inappsank();         // converts every complex of sup_xxx and sub_xxx... characters; says how many
void undo_auto_inappsank();    // and back
