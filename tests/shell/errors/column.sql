-- expect: column.sql:3:20: no such column: missing
SELECT 1;
SELECT 'ü€😀', 'x', missing;
SELECT 'NOT REACHED';
