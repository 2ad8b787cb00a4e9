#pragma once
// Commands on finished training files: join several into one, and say what a file holds.
// Each takes the arguments after its name and returns the exit status.

// datagen merge OUT IN [IN...]: the whole records of the inputs, in order, into a new file.
int merge_command(int argc, char** argv);

// datagen info FILE [FILE...]: counts of a file's records, and of its journal's seeds.
int info_command(int argc, char** argv);
