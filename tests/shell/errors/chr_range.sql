-- expect: chr_range.sql:4:1: CHR: the code must lie in 0..4294967295
SELECT CHR(65);

SELECT CHR(-1);
SELECT 'NOT REACHED';
