SELECT 'read from a file';
SELECT UPPER('a',
             'b');
