SELECT DISTINCT
     MAX([Order Details].[Unit Price]), 
     P.ProductName AS [Product Name], 
     [Order Details].Discount * 2 AS Discounted
FROM
     dbo.[Order Details] AS [Order Details]
     CROSS JOIN Products AS P
     CROSS JOIN dbo.Categories
GROUP BY
     P.ProductName,
     [Order Details].Discount * 2
