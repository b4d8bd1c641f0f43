// kernel/commands.h: every handler named in comtable, defined in the folder whose subject it is.
// A handler is called with the stream after its word, cmdname and current_command set; it consumes
// text up to, not including, the ending semicolon.
#pragma once

void nocom();        // the row that only separates the two blocks
void notyetcom();    // "Command NAME is not available yet"; skips to the semicolon
void runfilecom();   // runs the script whose name is in cmdname
void absinclcom();
void bbreakcom();
void beepcom();
void bgroundcom();
void breakcom();
void ccodecom();
void cdircom();
void clbuffercom();
void clscom();
void echocom();
void haltcom();
void helpcom();
void holdcom();
void keepcom();
void lengthcom();
void logcom();
void lquotecom();
void multcom();
void mxproccom();
void nakedcom();
void nstatescom();
void outgroupcom();
void pausecom();
void procedurecom();
void quotecom();
void ramreset();
void rdircom();
void recursecom();
void reportcom();
void rerootcom();
void rseedcom();
void runcom();
void save_txt_buffer();
void savecom();
void scorescom();
void screencom();
void shortreadcom();
void silentcom();
void store_ccode();
void strictcom();
void suboptcom();
void systemcom();
void tablescom();
void taxcodecom();
void taxnamecom();
void taxnamescom();
void timeoutcom();
void tplotcom();
void treadcom();
void tsavecom();
void txtbufsizcom();
void versioncom();
void warncom();
void watchcom();
void xreadcom();
void xwipecom();
