-- expect: convert_unknown.sql:2:1: CONVERT: unknown character set 'NOPE'
SELECT HEX(CONVERT('a', 'NOPE'));
SELECT 'NOT REACHED';
