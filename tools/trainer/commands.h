#pragma once
// The trainer's commands; each takes the arguments after its name and returns the exit status.
int train_command(int argc, char** argv);
int export_command(int argc, char** argv);
int check_command(int argc, char** argv);
