-- expect: convtest_unknown.sql:2:1: CONVTEST: unknown character set 'NOPE'
SELECT CONVTEST('a', 'NOPE');
SELECT 'NOT REACHED';
