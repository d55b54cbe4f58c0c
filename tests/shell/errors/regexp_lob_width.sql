-- expect: regexp_lob_width.sql:3:1: REGEXP_COUNT_LOB: large-object text must be in a fixed-width character set, not AL32UTF8
CREATE TABLE t(b BLOB); INSERT INTO t VALUES (CAST('abc' AS BLOB));
SELECT REGEXP_COUNT_LOB('t', 'b', 1, 'b');
SELECT 'NOT REACHED';
