-- Shell commands between statements: .read, the output modes, headers, and
-- the session switched by .charset and .collation.
.read included/rows.sql
.charset
SELECT n, word, LENGTHB(word) AS bytes, extra FROM t;
.mode list
SELECT n, word, extra FROM t;
.mode csv
SELECT n, word, extra FROM t;
.mode json
SELECT n, word, extra FROM t;
SELECT 1 AS none WHERE 0;
.mode box
SELECT n, word, extra FROM t;
.headers off
SELECT n, UPPER(word) FROM t WHERE n < 100;
.headers on
.mode
.collation ci
SELECT lxk_collation() AS collation, INSTR('ÀBC', 'b') AS found;
.charset al32utf8
SELECT lxk_charset() AS charset, LENGTHB('日本') AS bytes;
