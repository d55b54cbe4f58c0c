-- expect: convert_unknown.sql:2: CONVERT: unknown character set 'NOPE'
SELECT HEX(CONVERT('a', 'NOPE'));
SELECT 'NOT REACHED';
