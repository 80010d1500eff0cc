FROM 
             (
        SELECT
             a
        ) AS S