// kernel/progress.h: the one progress call of all long loops.  It also polls for interrupts,
// timeouts and autosaving, at most once a second.
#pragma once

extern int record_progress_bar, report_as_bar;
extern int xreport_status_time, xreport_status_reps, xreport_status_trees;   // 0 = not recorded
extern int doing_user_progress;

void dildit(double done, double total, const char *text);
void show_user_progress(double done, double total, const char *text);   // a bar of a script's own, whatever report_status says
void erdil();                        // clears the progress line
void erdil_forgood();
void set_progress_bar_type(int simple);
void refresh_report();
void endrow();                       // ends a line of a long report, which the Esc key stops there
