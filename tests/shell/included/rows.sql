-- Rows for the output modes: wide characters, a quote, a comma, a line
-- break, NULL and a BLOB.
CREATE TABLE t(n INTEGER, word TEXT, extra);
INSERT INTO t VALUES (1, '日本', NULL), (22, 'a,"b"', X'00FF'), (333, 'line
break', 2.5);
.charset SHIFT_JIS
