-- expect: mode_unknown.sql:2:1: .mode: give one of column, list, csv, json or box
.mode table
SELECT 'NOT REACHED';
