-- expect: instr_occurrence.sql:2:1: INSTR: the occurrence must be 1 or more
SELECT INSTR('abc', 'b', 1, 0);
SELECT 'NOT REACHED';
