// SPDX-License-Identifier: Apache-2.0
//
// Fields as text: the lines of a dump, and the words of a command line.
//
//     OBJECT[/INSTANCE] FIELD [QFIELD=QVALUE] "VALUE"
//
// Words stand apart by blanks. A word in quotes may hold any byte but NUL: \\ \" \n \r \t \xHH are escapes, HH being
// two hexadecimal digits. A word needs the quotes if it is empty, begins with '-', or has a blank, a quote, a
// back-slash, a '#' or a byte outside printable ASCII. '#' begins a comment, which ends with the line.
#ifndef LSQLQUERY_FIELD_TEXT_H
#define LSQLQUERY_FIELD_TEXT_H

#include "lsqlquery/lsqlstore.h"

#include <stdio.h>

// Each writes without a line break. Valid UTF-8 is written as it is, save control characters.
void writeRow(FILE *out, const lsqlstore_field &field);   // OBJECT[/INSTANCE]
void writeName(FILE *out, const lsqlstore_field &field);  // OBJECT[/INSTANCE] FIELD [QFIELD=QVALUE]
void writeField(FILE *out, const lsqlstore_field &field); // the line of a dump
void writeWord(FILE *out, const char *word);              // in quotes if it needs them

// QFIELD=QVALUE
void writeQualifier(FILE *out, const lsqlstore_field &field);

// Cut the line up in place: FIELD's texts point into it. Null, or what is wrong with the line. An empty line and a
// comment leave the object null.
const char *parseField(char *line, lsqlstore_field &field);

// Cut OBJECT[/INSTANCE] up in place.
void splitRow(char *word, lsqlstore_field &field);

// Cut QFIELD=QVALUE up in place; false if there is no '='.
bool splitQualifier(char *word, lsqlstore_field &field);

#endif
